package com.zyn.zynsolver;

import java.io.Serializable;
import java.util.Arrays;

/**
 * Results of QRS detection. Sample indices are 0-based in the recording passed in; unused
 * entries of every array are -1. {@code qrs_onsets} and {@code qrs_offsets} are reserved and
 * always -1.
 *
 * <p>error: 0 success, 1 no recording, 2 length outside 3000..119936 samples or fs not 200, 3
 * fewer than two beats, a heart rate outside 30..220 bpm or implausibly short RR intervals, 5
 * saturated signal, 6 irregular rhythm, 7 start second too late, negative, or full scale not
 * positive.
 */
public class ZYNecgQrsResults implements Serializable {
  private static final long serialVersionUID = 0x5A594E0001L;

  public int error;
  /** Heart rate from the median RR interval, beats per minute. */
  public double hr;
  /** Heart rate from the trimmed mean of all RR intervals, beats per minute. */
  public double hr_mean;
  public int[] rpeaks;
  public int[] extra_systoles;
  public int[] qrs_onsets;
  public int[] qrs_offsets;
  /** One code per quality window: 0 good, 3 fewer than two beats, 5 saturated, 6 irregular. */
  public int[] qualities;

  @Override
  public String toString() {
    return "ZYNecgQrsResults{error=" + error + ", hr=" + hr + ", hr_mean=" + hr_mean
        + ", rpeaks=" + Format.indices(rpeaks) + ", extra_systoles=" + Format.indices(extra_systoles)
        + ", qualities=" + Format.indices(qualities) + "}";
  }
}
