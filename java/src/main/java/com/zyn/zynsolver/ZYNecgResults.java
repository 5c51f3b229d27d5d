package com.zyn.zynsolver;

import java.io.Serializable;

/**
 * Results of the heart-rate-variability analysis. Times are in seconds, {@code nn_rr} and
 * {@code pnn50} are fractions, band powers are in s². Sample indices are 0-based in the recording
 * passed in; unused entries of every array are -1; {@code ppeaks} and {@code tpeaks} are reserved
 * and always -1. Statistics not computed are 0.0.
 *
 * <p>error: as {@link ZYNecgQrsResults} (with the length range 36000..120000 samples), plus 4 no
 * spectrum for the band powers, 8 five or fewer beats: peaks reported, no statistics.
 */
public class ZYNecgResults implements Serializable {
  private static final long serialVersionUID = 0x5A594E0002L;

  public int error;
  public double hr;
  public double hr_mean;
  public double nn_rr;
  public double avnn;
  public double sdnn;
  public double sdann;
  public double sdnnidx;
  public double rmssd;
  public double pnn50;
  public double tot_pwr;
  public double ulf_pwr;
  public double vlf_pwr;
  public double lf_pwr;
  public double hf_pwr;
  public double lf_hf;
  public int[] rpeaks;
  public int[] extra_systoles;
  public int[] ppeaks;
  public int[] tpeaks;
  public int[] qualities;

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
