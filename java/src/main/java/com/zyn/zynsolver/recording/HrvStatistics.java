package com.zyn.zynsolver.recording;

import java.util.List;

/**
 * Heart-rate-variability statistics of a whole recording, computed once over its merged beats.
 * Times in seconds, {@code nnRr} and {@code pnn50} as fractions, band powers in s². Band powers
 * are NaN when the recording gave no spectrum.
 */
public final class HrvStatistics {
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

  /**
   * Every statistic in the order of {@link #NAMES} (a copy).
   * @return the thirteen values
   */
  public double[] values() {
    return values.clone();
  }

  /**
   * The statistic of the given name (one of {@link #NAMES}).
   * @param name a statistic's name
   * @return its value
   */
  public double value(String name) {
    int i = NAMES.indexOf(name);
    if (i < 0) {
      throw new IllegalArgumentException("no HRV statistic named " + name + "; known: " + NAMES);
    }
    return values[i];
  }

  /** {@return nn_rr, the fraction of RR intervals that are NN intervals} */
  public double nnRr() { return values[0]; }
  /** {@return AVNN, the mean NN interval, s} */
  public double avnn() { return values[1]; }
  /** {@return SDNN over every NN interval, s} */
  public double sdnn() { return values[2]; }
  /** {@return SDANN over the 5-minute segments, s} */
  public double sdann() { return values[3]; }
  /** {@return SDNNIDX, the mean of the 5-minute SDNNs, s} */
  public double sdnnidx() { return values[4]; }
  /** {@return RMSSD of successive NN differences, s} */
  public double rmssd() { return values[5]; }
  /** {@return pNN50, the fraction of successive NN differences above 50 ms} */
  public double pnn50() { return values[6]; }
  /** {@return total power up to 0.4 Hz, s²} */
  public double totPwr() { return values[7]; }
  /** {@return ULF power below 0.0033 Hz, s²} */
  public double ulfPwr() { return values[8]; }
  /** {@return VLF power 0.0033 to 0.04 Hz, s²} */
  public double vlfPwr() { return values[9]; }
  /** {@return LF power 0.04 to 0.15 Hz, s²} */
  public double lfPwr() { return values[10]; }
  /** {@return HF power 0.15 to 0.4 Hz, s²} */
  public double hfPwr() { return values[11]; }
  /** {@return LF power over HF power} */
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
