package com.zyn.zynsolver.recording;


/**
 * The beats of one class in a whole recording, ascending, each given three ways: as a 0-based
 * index in the whole recording resampled to 200 Hz, as a 0-based index of the file's own samples,
 * and in seconds from the start of the recording.
 */
public final class Beats {
  private final long[] samples200Hz;
  private final long[] fileSamples;
  private final double[] seconds;

  Beats(long[] samples200Hz, long[] fileSamples, double[] seconds) {
    this.samples200Hz = samples200Hz;
    this.fileSamples = fileSamples;
    this.seconds = seconds;
  }

  /** {@return the number of beats} */
  public int count() {
    return samples200Hz.length;
  }

  /**
   * Positions in the whole recording at 200 Hz (a copy).
   * @return the positions at 200 Hz
   */
  public long[] samples200Hz() {
    return samples200Hz.clone();
  }

  /**
   * Positions in the recording's own samples (a copy).
   * @return the positions in file samples
   */
  public long[] fileSamples() {
    return fileSamples.clone();
  }

  /**
   * Times from the start of the recording, in seconds (a copy).
   * @return the times, seconds
   */
  public double[] seconds() {
    return seconds.clone();
  }

  @Override
  public String toString() {
    return count() + " beats";
  }
}
