package com.zyn.zynsolver.recording;

import java.io.Serializable;
import java.util.List;

/**
 * Heart-rate-variability statistics of a whole recording, computed once over its merged beats.
 * Times in seconds, {@code nnRr} and {@code pnn50} as fractions, band powers in s². Band powers
 * are NaN when the recording gave no spectrum.
 */
public final class HrvStatistics implements Serializable {
  private static final long serialVersionUID = 1L;

  /** The statistics' names, in the order of {@link #values()}. */
  public static final List<String> NAMES = List.of(
      "nn_rr", "avnn", "sdnn", "sdann", "sdnnidx", "rmssd", "pnn50",
      "tot_pwr", "ulf_pwr", "vlf_pwr", "lf_pwr", "hf_pwr", "lf_hf");

  private final double[] values;

  /** The values in the order of {@link #NAMES}. */
  HrvStatistics(double[] values) {
    if (values.length != NAMES.size()) {
      throw new IllegalArgumentException(NAMES.size() + " HRV values expected, got " + values.length);
    }
    this.values = values.clone();
  }

  /** Every statistic in the order of {@link #NAMES} (a copy). */
  public double[] values() {
    return values.clone();
  }

  /** The statistic of the given name (one of {@link #NAMES}). */
  public double value(String name) {
    int i = NAMES.indexOf(name);
    if (i < 0) {
      throw new IllegalArgumentException("no HRV statistic named " + name + "; known: " + NAMES);
    }
    return values[i];
  }

  public double nnRr() { return values[0]; }
  public double avnn() { return values[1]; }
  public double sdnn() { return values[2]; }
  public double sdann() { return values[3]; }
  public double sdnnidx() { return values[4]; }
  public double rmssd() { return values[5]; }
  public double pnn50() { return values[6]; }
  public double totPwr() { return values[7]; }
  public double ulfPwr() { return values[8]; }
  public double vlfPwr() { return values[9]; }
  public double lfPwr() { return values[10]; }
  public double hfPwr() { return values[11]; }
  public double lfHf() { return values[12]; }

  @Override
  public String toString() {
    StringBuilder b = new StringBuilder("HrvStatistics{");
    for (int i = 0; i < values.length; i++) {
      b.append(i == 0 ? "" : ", ").append(NAMES.get(i)).append('=').append(values[i]);
    }
    return b.append('}').toString();
  }
}
