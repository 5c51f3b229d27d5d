package com.zyn.zynsolver.recording;


/**
 * One library call of a whole-recording analysis: a recording longer than one call allows is
 * analysed in overlapping stretches of its 200 Hz signal, each with the error code and heart rates
 * that call returned (error 9: the stretch holds samples that are not numbers and was skipped).
 */
public final class Stretch {
  private final long firstSample200Hz;
  private final long samples200Hz;
  private final double startSeconds;
  private final double endSeconds;
  private final int error;
  private final double heartRateBpm;
  private final double meanHeartRateBpm;

  Stretch(long firstSample200Hz, long samples200Hz, double startSeconds, double endSeconds, int error,
      double heartRateBpm, double meanHeartRateBpm) {
    this.firstSample200Hz = firstSample200Hz;
    this.samples200Hz = samples200Hz;
    this.startSeconds = startSeconds;
    this.endSeconds = endSeconds;
    this.error = error;
    this.heartRateBpm = heartRateBpm;
    this.meanHeartRateBpm = meanHeartRateBpm;
  }

  /**
   * First sample of the stretch in the whole recording at 200 Hz.
   * @return the first sample200 hz
   */
  public long firstSample200Hz() { return firstSample200Hz; }

  /**
   * Length of the stretch in 200 Hz samples.
   * @return the positions at 200 Hz
   */
  public long samples200Hz() { return samples200Hz; }

  /**
   * Start of the stretch, seconds from the start of the recording.
   * @return the start seconds
   */
  public double startSeconds() { return startSeconds; }

  /** {@return the end seconds} */
  public double endSeconds() { return endSeconds; }

  /**
   * The library's error code for this stretch (0 success).
   * @return the error
   */
  public int error() { return error; }

  /**
   * The stretch's own heart rate from its median RR interval, beats per minute.
   * @return the heart rate bpm
   */
  public double heartRateBpm() { return heartRateBpm; }

  /**
   * The stretch's own heart rate from its trimmed mean RR interval, beats per minute.
   * @return the mean heart rate bpm
   */
  public double meanHeartRateBpm() { return meanHeartRateBpm; }

  @Override
  public String toString() {
    return "stretch [" + startSeconds + " s, " + endSeconds + " s) error " + error;
  }
}
