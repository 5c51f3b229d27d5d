package com.zyn.zynsolver.recording;

import java.io.Serializable;

/**
 * One row of the per-5-minute table: the mean heart rate, SDNN and RMSSD of the NN intervals
 * ending in the segment, and its beats of each class. Times in seconds; NaN where the segment
 * holds too few intervals.
 */
public final class SegmentSummary implements Serializable {
  private static final long serialVersionUID = 1L;

  private final double startSeconds;
  private final double endSeconds;
  private final double meanHeartRateBpm;
  private final double sdnn;
  private final double rmssd;
  private final long normalBeats;
  private final long extraSystoles;

  SegmentSummary(double startSeconds, double endSeconds, double meanHeartRateBpm, double sdnn, double rmssd,
      long normalBeats, long extraSystoles) {
    this.startSeconds = startSeconds;
    this.endSeconds = endSeconds;
    this.meanHeartRateBpm = meanHeartRateBpm;
    this.sdnn = sdnn;
    this.rmssd = rmssd;
    this.normalBeats = normalBeats;
    this.extraSystoles = extraSystoles;
  }

  public double startSeconds() { return startSeconds; }
  public double endSeconds() { return endSeconds; }
  public double meanHeartRateBpm() { return meanHeartRateBpm; }
  public double sdnn() { return sdnn; }
  public double rmssd() { return rmssd; }
  public long normalBeats() { return normalBeats; }
  public long extraSystoles() { return extraSystoles; }

  @Override
  public String toString() {
    return "[" + startSeconds + " s, " + endSeconds + " s) " + meanHeartRateBpm + " bpm, SDNN " + sdnn
        + " s, RMSSD " + rmssd + " s, " + normalBeats + " normal, " + extraSystoles + " extra";
  }
}
