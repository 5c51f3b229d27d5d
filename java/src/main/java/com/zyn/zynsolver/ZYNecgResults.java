package com.zyn.zynsolver;

import java.io.Serializable;

/**
 * Results of the heart-rate-variability analysis. Times are in seconds, {@code nn_rr} and
 * {@code pnn50} are fractions, band powers are in s². Sample indices are 0-based in the recording
 * passed in; every array holds its valid entries first and -1 to its end ({@link #rpeakCount()}
 * and the other counts tell how many are valid); {@code ppeaks} and {@code tpeaks} are reserved
 * and always -1. Statistics not computed are 0.0.
 *
 * <p>error (see {@link ErrorCodes}): as {@link ZYNecgQrsResults} (with the length range
 * 36000..120000 samples), plus 4 no spectrum for the band powers, 8 five or fewer beats: peaks
 * reported, no statistics.
 */
public class ZYNecgResults extends AnalysisResults implements Serializable {
  private static final long serialVersionUID = 0x5A594E0002L;

  /** Outcome of the analysis, one of {@link ErrorCodes}. */
  public int error;
  /** Heart rate from the median RR interval, beats per minute. */
  public double hr;
  /** Heart rate from the trimmed mean of all RR intervals, beats per minute. */
  public double hr_mean;
  /** Fraction of the RR intervals that are NN intervals (between two normal beats). */
  public double nn_rr;
  /** Mean NN interval, seconds. */
  public double avnn;
  /** Standard deviation of the NN intervals, seconds. */
  public double sdnn;
  /** Standard deviation of the means of the NN intervals in 5-minute segments, seconds. */
  public double sdann;
  /** Mean of the standard deviations of the NN intervals in 5-minute segments, seconds. */
  public double sdnnidx;
  /** Root mean square of successive NN differences, seconds. */
  public double rmssd;
  /** Fraction of successive NN differences larger than 50 ms. */
  public double pnn50;
  /** Total power of the NN series' Lomb spectrum, s². */
  public double tot_pwr;
  /** Ultra-low-frequency power (up to 0.0033 Hz), s². */
  public double ulf_pwr;
  /** Very-low-frequency power (0.0033 to 0.04 Hz), s². */
  public double vlf_pwr;
  /** Low-frequency power (0.04 to 0.15 Hz), s². */
  public double lf_pwr;
  /** High-frequency power (0.15 to 0.4 Hz), s². */
  public double hf_pwr;
  /** Ratio of the low-frequency to the high-frequency power. */
  public double lf_hf;
  /** R peaks of the normal beats, 0-based sample indices, ascending, padded with -1. */
  public int[] rpeaks;
  /** R peaks of the extra systoles, 0-based sample indices, ascending, padded with -1. */
  public int[] extra_systoles;
  /** Reserved: always -1. */
  public int[] ppeaks;
  /** Reserved: always -1. */
  public int[] tpeaks;
  /** One code per quality window (see {@link QualityCodes}), padded with -1. */
  public int[] qualities;

  /** Empty results, as the native library fills them in. */
  public ZYNecgResults() {}

  @Override
  int[][] paddedArrays() {
    return new int[][] {rpeaks, extra_systoles, qualities};  // the order AnalysisResults reads
  }

  @Override
  int errorCode() {
    return error;
  }

  @Override
  public String toString() {
    return "ZYNecgResults{error=" + error + ", hr=" + hr + ", hr_mean=" + hr_mean
        + ", nn_rr=" + nn_rr + ", avnn=" + avnn + " s, sdnn=" + sdnn + " s, sdann=" + sdann
        + " s, sdnnidx=" + sdnnidx + " s, rmssd=" + rmssd + " s, pnn50=" + pnn50
        + ", tot_pwr=" + tot_pwr + " s², ulf_pwr=" + ulf_pwr + " s², vlf_pwr=" + vlf_pwr
        + " s², lf_pwr=" + lf_pwr + " s², hf_pwr=" + hf_pwr + " s², lf_hf=" + lf_hf
        + ", rpeaks=" + Format.indices(rpeaks) + ", extra_systoles=" + Format.indices(extra_systoles)
        + ", qualities=" + Format.indices(qualities) + "}";
  }
}
