package com.zyn.zynsolver;

import java.io.Serializable;

/**
 * Results of QRS detection. Sample indices are 0-based in the recording passed in; every array
 * holds its valid entries first and -1 to its end ({@link #rpeakCount()} and the other counts tell
 * how many are valid). {@code qrs_onsets} and {@code qrs_offsets} are reserved and always -1.
 *
 * <p>error (see {@link ErrorCodes}): 0 success, 1 no recording, 2 length outside 3000..119936
 * samples or fs not 200, 3 fewer than two beats, a heart rate outside 30..220 bpm or implausibly
 * short RR intervals, 5 saturated signal, 6 irregular rhythm, 7 start second too late, negative,
 * or full scale not positive, 9 a NaN sample in the analysed stretch.
 */
public class ZYNecgQrsResults extends AnalysisResults implements Serializable {
  private static final long serialVersionUID = 0x5A594E0001L;

  /** Outcome of the analysis, one of {@link ErrorCodes}. */
  public int error;
  /** Heart rate from the median RR interval, beats per minute. */
  public double hr;
  /** Heart rate from the trimmed mean of all RR intervals, beats per minute. */
  public double hr_mean;
  /** R peaks of the normal beats, 0-based sample indices, ascending, padded with -1. */
  public int[] rpeaks;
  /** R peaks of the extra systoles, 0-based sample indices, ascending, padded with -1. */
  public int[] extra_systoles;
  /** Reserved: always -1. */
  public int[] qrs_onsets;
  /** Reserved: always -1. */
  public int[] qrs_offsets;
  /** One code per quality window (see {@link QualityCodes}): 0 good, 3 fewer than two beats, 5 saturated, 6 irregular. */
  public int[] qualities;

  /** Empty results, as the native library fills them in. */
  public ZYNecgQrsResults() {}

  @Override
  int errorCode() {
    return error;
  }

  @Override
  int[][] paddedArrays() {
    return new int[][] {rpeaks, extra_systoles, qualities};
  }

  @Override
  public String toString() {
    return "ZYNecgQrsResults{error=" + error + ", hr=" + hr + ", hr_mean=" + hr_mean
        + ", rpeaks=" + Format.indices(rpeaks) + ", extra_systoles=" + Format.indices(extra_systoles)
        + ", qualities=" + Format.indices(qualities) + "}";
  }
}
