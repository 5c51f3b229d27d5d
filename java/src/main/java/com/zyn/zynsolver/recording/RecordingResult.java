package com.zyn.zynsolver.recording;

import java.io.Serializable;
import java.util.ArrayList;
import java.util.Collections;
import java.util.List;
import java.util.Optional;
import java.util.OptionalDouble;

/**
 * Results of a whole-recording analysis, as plain values: the recording read, the beats of each
 * class, the quality windows, the stretches the analysis ran in with their error codes, the heart
 * rates and HRV statistics of the whole recording, the per-5-minute table and warnings about likely
 * mistakes in the input or options. The numbers are those of the command-line tool's JSON for the
 * same input and options.
 */
public final class RecordingResult implements Serializable {
  private static final long serialVersionUID = 1L;

  private final String source;
  private final String format;
  private final String signal;
  private final String units;
  private final double samplingRateHz;
  private final long sampleCount;
  private final double fullScale;
  private final String fullScaleSource;
  private final double heartRateBpm;
  private final double meanHeartRateBpm;
  private final Beats normalBeats;
  private final Beats extraSystoles;
  private final List<QualityWindow> qualityWindows;
  private final List<Stretch> stretches;
  private final HrvStatistics hrv;
  private final List<SegmentSummary> segments;
  private final List<String> warnings;
  private final String hrvNote;

  /**
   * Built by the native analysis from flat arrays: beats as parallel arrays of both classes in
   * time order; windows as (start, end) second pairs with one code each; stretches as (first,
   * count) 200 Hz pairs, (start, end) second pairs and (QRS, HRV) error pairs; HRV in the order of
   * {@link HrvStatistics#NAMES} or null; the 5-minute table as rows of start, end, mean heart
   * rate, SDNN, RMSSD, normal beats and extra systoles. Absent heart rates are NaN.
   */
  RecordingResult(String source, String format, String signal, String units, double samplingRateHz,
      long sampleCount, double fullScale, String fullScaleSource, double heartRateBpm, double meanHeartRateBpm,
      long[] beatSamples200Hz, boolean[] beatIsExtra, long[] beatFileSamples, double[] beatSeconds,
      double[] windowSeconds, int[] windowCodes, long[] stretchSamples200Hz, double[] stretchSeconds,
      int[] stretchErrors, double[] hrvValues, double[] segmentRows, String[] warnings, String hrvNote) {
    this.source = source;
    this.format = format;
    this.signal = signal;
    this.units = units;
    this.samplingRateHz = samplingRateHz;
    this.sampleCount = sampleCount;
    this.fullScale = fullScale;
    this.fullScaleSource = fullScaleSource;
    this.heartRateBpm = heartRateBpm;
    this.meanHeartRateBpm = meanHeartRateBpm;
    this.normalBeats = beatsOfClass(false, beatSamples200Hz, beatIsExtra, beatFileSamples, beatSeconds);
    this.extraSystoles = beatsOfClass(true, beatSamples200Hz, beatIsExtra, beatFileSamples, beatSeconds);
    List<QualityWindow> windows = new ArrayList<>(windowCodes.length);
    for (int i = 0; i < windowCodes.length; i++) {
      windows.add(new QualityWindow(windowSeconds[2 * i], windowSeconds[2 * i + 1], windowCodes[i]));
    }
    this.qualityWindows = Collections.unmodifiableList(windows);
    List<Stretch> parts = new ArrayList<>(stretchErrors.length / 2);
    for (int i = 0; i < stretchErrors.length / 2; i++) {
      parts.add(new Stretch(stretchSamples200Hz[2 * i], stretchSamples200Hz[2 * i + 1], stretchSeconds[2 * i],
          stretchSeconds[2 * i + 1], stretchErrors[2 * i], stretchErrors[2 * i + 1]));
    }
    this.stretches = Collections.unmodifiableList(parts);
    this.hrv = hrvValues == null ? null : new HrvStatistics(hrvValues);
    final int columns = 7;
    List<SegmentSummary> rows = new ArrayList<>(segmentRows.length / columns);
    for (int r = 0; r + columns <= segmentRows.length; r += columns) {
      rows.add(new SegmentSummary(segmentRows[r], segmentRows[r + 1], segmentRows[r + 2], segmentRows[r + 3],
          segmentRows[r + 4], (long) segmentRows[r + 5], (long) segmentRows[r + 6]));
    }
    this.segments = Collections.unmodifiableList(rows);
    this.warnings = List.of(warnings);
    this.hrvNote = hrvNote == null ? "" : hrvNote;
  }

  private static Beats beatsOfClass(boolean extra, long[] samples200Hz, boolean[] isExtra, long[] fileSamples,
      double[] seconds) {
    int n = 0;
    for (boolean e : isExtra) {
      n += e == extra ? 1 : 0;
    }
    long[] at200 = new long[n];
    long[] inFile = new long[n];
    double[] times = new double[n];
    for (int i = 0, k = 0; i < isExtra.length; i++) {
      if (isExtra[i] == extra) {
        at200[k] = samples200Hz[i];
        inFile[k] = fileSamples[i];
        times[k++] = seconds[i];
      }
    }
    return new Beats(at200, inFile, times);
  }

  /** The file's path as given, or "samples" for samples passed in. */
  public String source() { return source; }
  /** "csv", "wfdb", "edf" or "samples". */
  public String format() { return format; }
  /** Name of the analysed signal. */
  public String signal() { return signal; }
  /** Units of the samples (millivolts for the file readers where the file says how to scale). */
  public String units() { return units; }
  /** The recording's own sampling rate. */
  public double samplingRateHz() { return samplingRateHz; }
  /** Samples of the recording at its own rate. */
  public long sampleCount() { return sampleCount; }
  public double durationSeconds() { return sampleCount / samplingRateHz; }
  /** Full scale the analysis used, in the signal's units. */
  public double fullScale() { return fullScale; }
  /** Where the full scale came from: "header", "option" or "default". */
  public String fullScaleSource() { return fullScaleSource; }

  /** Heart rate from the median RR interval, beats per minute; empty when none was computed. */
  public OptionalDouble heartRateBpm() {
    return Double.isNaN(heartRateBpm) ? OptionalDouble.empty() : OptionalDouble.of(heartRateBpm);
  }

  /** Heart rate from the trimmed mean RR interval, beats per minute; empty when none was computed. */
  public OptionalDouble meanHeartRateBpm() {
    return Double.isNaN(meanHeartRateBpm) ? OptionalDouble.empty() : OptionalDouble.of(meanHeartRateBpm);
  }

  /** Beats of the majority morphology. */
  public Beats normalBeats() { return normalBeats; }
  /** Beats of any other morphology. */
  public Beats extraSystoles() { return extraSystoles; }
  public List<QualityWindow> qualityWindows() { return qualityWindows; }

  /** Share of quality windows rated good, 0 to 1; NaN without windows. */
  public double goodWindowShare() {
    long good = qualityWindows.stream().filter(QualityWindow::isGood).count();
    return qualityWindows.isEmpty() ? Double.NaN : (double) good / qualityWindows.size();
  }

  public List<Stretch> stretches() { return stretches; }
  /** Whole-recording HRV statistics; empty in mode QRS or when the recording allows none. */
  public Optional<HrvStatistics> hrv() { return Optional.ofNullable(hrv); }
  /** The per-5-minute table. */
  public List<SegmentSummary> segments() { return segments; }
  /** Likely mistakes in the input or options. */
  public List<String> warnings() { return warnings; }
  /** Why there are no HRV statistics, when there are none; else empty. */
  public String hrvNote() { return hrvNote; }

  @Override
  public String toString() {
    return "RecordingResult{" + source + ", " + format + ", " + samplingRateHz + " Hz, " + sampleCount
        + " samples, hr=" + heartRateBpm + ", hrMean=" + meanHeartRateBpm + ", normal=" + normalBeats.count()
        + ", extra=" + extraSystoles.count() + ", windows=" + qualityWindows.size() + ", stretches="
        + stretches.size() + ", hrv=" + hrv + ", warnings=" + warnings + "}";
  }
}
