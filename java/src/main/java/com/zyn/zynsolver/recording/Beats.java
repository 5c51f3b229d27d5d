package com.zyn.zynsolver.recording;

import java.io.Serializable;

/**
 * The beats of one class in a whole recording, ascending, each given three ways: as a 0-based
 * index in the whole recording resampled to 200 Hz, as a 0-based index of the file's own samples,
 * and in seconds from the start of the recording.
 */
public final class Beats implements Serializable {
  private static final long serialVersionUID = 1L;

  private final long[] samples200Hz;
  private final long[] fileSamples;
  private final double[] seconds;

  Beats(long[] samples200Hz, long[] fileSamples, double[] seconds) {
    this.samples200Hz = samples200Hz;
    this.fileSamples = fileSamples;
    this.seconds = seconds;
  }

  public int count() {
    return samples200Hz.length;
  }

  /** Positions in the whole recording at 200 Hz (a copy). */
  public long[] samples200Hz() {
    return samples200Hz.clone();
  }

  /** Positions in the recording's own samples (a copy). */
  public long[] fileSamples() {
    return fileSamples.clone();
  }

  /** Times from the start of the recording, in seconds (a copy). */
  public double[] seconds() {
    return seconds.clone();
  }

  @Override
  public String toString() {
    return count() + " beats";
  }
}
