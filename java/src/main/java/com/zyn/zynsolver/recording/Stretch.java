package com.zyn.zynsolver.recording;

import java.io.Serializable;

/**
 * One library call of a whole-recording analysis: a recording longer than one call allows is
 * analysed in overlapping stretches of the 200 Hz signal. Each stretch carries the error code its
 * QRS and HRV analyses returned (-1 when that analysis did not run on it).
 */
public final class Stretch implements Serializable {
  private static final long serialVersionUID = 1L;

  private final long firstSample200Hz;
  private final long samples200Hz;
  private final double startSeconds;
  private final double endSeconds;
  private final int qrsError;
  private final int hrvError;

  Stretch(long firstSample200Hz, long samples200Hz, double startSeconds, double endSeconds, int qrsError,
      int hrvError) {
    this.firstSample200Hz = firstSample200Hz;
    this.samples200Hz = samples200Hz;
    this.startSeconds = startSeconds;
    this.endSeconds = endSeconds;
    this.qrsError = qrsError;
    this.hrvError = hrvError;
  }

  /** First sample of the stretch in the whole recording at 200 Hz. */
  public long firstSample200Hz() {
    return firstSample200Hz;
  }

  /** Length of the stretch in 200 Hz samples. */
  public long samples200Hz() {
    return samples200Hz;
  }

  public double startSeconds() {
    return startSeconds;
  }

  public double endSeconds() {
    return endSeconds;
  }

  /** Error code of the QRS analysis of this stretch, -1 when it did not run. */
  public int qrsError() {
    return qrsError;
  }

  /** Error code of the HRV analysis of this stretch, -1 when it did not run. */
  public int hrvError() {
    return hrvError;
  }

  @Override
  public String toString() {
    return "stretch [" + startSeconds + " s, " + endSeconds + " s) qrs " + qrsError + " hrv " + hrvError;
  }
}
