package com.zyn.zynsolver.recording;

/** What a whole-recording analysis computes. */
public enum AnalysisMode {
  /** Beats, quality windows and heart rates; recordings of at least 15 s. */
  QRS,
  /** Beats and the heart-rate-variability statistics; recordings of at least 180 s. */
  HRV,
  /** Beats of the QRS analysis and the statistics of the HRV analysis. */
  BOTH
}
