package com.zyn.zynsolver.recording;


/**
 * One row of the per-5-minute table (consecutive 300 s segments from the start second): the mean
 * heart rate (60 / mean NN interval), SDNN and RMSSD in seconds of the NN intervals ending in the
 * segment, their number, and the segment's beats of each class. NaN where the segment holds too
 * few intervals for a value.
 */
public final class SegmentSummary {
  /** Values per row in the flat table the native analysis hands over. */
  static final int COLUMNS = 8;

  private final double startSeconds;
  private final double endSeconds;
  private final double meanHeartRateBpm;
  private final double sdnn;
  private final double rmssd;
  private final long nnIntervals;
  private final long normalBeats;
  private final long extraSystoles;

  /** A row of the flat table: start, end, mean heart rate, SDNN, RMSSD, NN intervals, beats. */
  SegmentSummary(double[] table, int row) {
    int at = row * COLUMNS;
    this.startSeconds = table[at];
    this.endSeconds = table[at + 1];
    this.meanHeartRateBpm = table[at + 2];
    this.sdnn = table[at + 3];
    this.rmssd = table[at + 4];
    this.nnIntervals = (long) table[at + 5];
    this.normalBeats = (long) table[at + 6];
    this.extraSystoles = (long) table[at + 7];
  }

  /** {@return the start seconds} */
  public double startSeconds() { return startSeconds; }
  /** {@return the end seconds} */
  public double endSeconds() { return endSeconds; }
  /** {@return the mean heart rate bpm} */
  public double meanHeartRateBpm() { return meanHeartRateBpm; }
  /**
   * SDNN of the segment, seconds.
   * @return the sdnn
   */
  public double sdnn() { return sdnn; }
  /**
   * RMSSD of the segment, seconds.
   * @return the rmssd
   */
  public double rmssd() { return rmssd; }
  /** {@return the nn intervals} */
  public long nnIntervals() { return nnIntervals; }
  /** {@return the normal beats} */
  public long normalBeats() { return normalBeats; }
  /** {@return the extra systoles} */
  public long extraSystoles() { return extraSystoles; }

  @Override
  public String toString() {
    return "[" + startSeconds + " s, " + endSeconds + " s) " + meanHeartRateBpm + " bpm, SDNN " + sdnn
        + " s, RMSSD " + rmssd + " s, " + normalBeats + " normal, " + extraSystoles + " extra";
  }
}
