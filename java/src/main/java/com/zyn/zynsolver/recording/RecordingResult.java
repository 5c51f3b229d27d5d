package com.zyn.zynsolver.recording;

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
public final class RecordingResult {
  private final String source;
  private final String format;
  private final String signal;
  private final String units;
  private final double samplingRateHz;
  private final long sampleCount;
  private final double fullScale;
  private final String fullScaleSource;
  private final int error;
  private final double heartRateBpm;
  private final double meanHeartRateBpm;
  private final Beats normalBeats;
  private final Beats extraSystoles;
  private final List<QualityWindow> qualityWindows;
  private final List<Stretch> stretches;
  private final int hrvError;
  private final HrvStatistics hrv;
  private final List<SegmentSummary> segments;
  private final List<String> warnings;
  private final String hrvNote;

  /**
   * Built by the native analysis from flat arrays: windows as (start, end) second pairs with one
   * code each; stretches as (first, count) 200 Hz pairs, (start, end, heart rate, mean heart rate)
   * quadruples and one error code each; HRV in the order of {@link HrvStatistics#NAMES} or null;
   * the 5-minute table as rows of {@link SegmentSummary#COLUMNS} values. Absent values are NaN.
   */
  RecordingResult(String source, String format, String signal, String units, double samplingRateHz,
      long sampleCount, double fullScale, String fullScaleSource, int error, double heartRateBpm,
      double meanHeartRateBpm, long[] normal200Hz, long[] normalFileSamples, double[] normalSeconds,
      long[] extra200Hz, long[] extraFileSamples, double[] extraSeconds, double[] windowSeconds,
      int[] windowCodes, long[] stretchSamples200Hz, double[] stretchValues, int[] stretchErrors, int hrvError,
      double[] hrvValues, double[] segmentTable, String[] warnings, String hrvNote) {
    this.source = source;
    this.format = format;
    this.signal = signal;
    this.units = units;
    this.samplingRateHz = samplingRateHz;
    this.sampleCount = sampleCount;
    this.fullScale = fullScale;
    this.fullScaleSource = fullScaleSource;
    this.error = error;
    this.heartRateBpm = heartRateBpm;
    this.meanHeartRateBpm = meanHeartRateBpm;
    this.normalBeats = new Beats(normal200Hz, normalFileSamples, normalSeconds);
    this.extraSystoles = new Beats(extra200Hz, extraFileSamples, extraSeconds);
    List<QualityWindow> windows = new ArrayList<>(windowCodes.length);
    for (int i = 0; i < windowCodes.length; i++) {
      windows.add(new QualityWindow(windowSeconds[2 * i], windowSeconds[2 * i + 1], windowCodes[i]));
    }
    this.qualityWindows = Collections.unmodifiableList(windows);
    List<Stretch> parts = new ArrayList<>(stretchErrors.length);
    for (int i = 0; i < stretchErrors.length; i++) {
      parts.add(new Stretch(stretchSamples200Hz[2 * i], stretchSamples200Hz[2 * i + 1], stretchValues[4 * i],
          stretchValues[4 * i + 1], stretchErrors[i], stretchValues[4 * i + 2], stretchValues[4 * i + 3]));
    }
    this.stretches = Collections.unmodifiableList(parts);
    this.hrvError = hrvError;
    this.hrv = hrvValues == null ? null : new HrvStatistics(hrvValues);
    List<SegmentSummary> rows = new ArrayList<>(segmentTable.length / SegmentSummary.COLUMNS);
    for (int r = 0; r < segmentTable.length / SegmentSummary.COLUMNS; r++) {
      rows.add(new SegmentSummary(segmentTable, r));
    }
    this.segments = Collections.unmodifiableList(rows);
    this.warnings = List.of(warnings);
    this.hrvNote = hrvNote == null ? "" : hrvNote;
  }

  /**
   * The file's path as given, or "samples" for samples passed in.
   * @return the source
   */
  public String source() { return source; }
  /**
   * "csv", "wfdb", "edf", "raw", or "samples" for samples passed in.
   * @return the format
   */
  public String format() { return format; }
  /**
   * Name of the analysed signal.
   * @return the signal
   */
  public String signal() { return signal; }
  /**
   * Units of the samples (millivolts for the file readers where the file says how to scale).
   * @return the units
   */
  public String units() { return units; }
  /**
   * The recording's own sampling rate.
   * @return the sampling rate hz
   */
  public double samplingRateHz() { return samplingRateHz; }
  /**
   * Samples of the recording at its own rate.
   * @return the sample count
   */
  public long sampleCount() { return sampleCount; }
  /** {@return the duration seconds} */
  public double durationSeconds() { return sampleCount / samplingRateHz; }
  /**
   * Full scale the analysis used, in the signal's units.
   * @return the full scale
   */
  public double fullScale() { return fullScale; }
  /**
   * Where the full scale came from: "header", "option" or "default".
   * @return the full scale source
   */
  public String fullScaleSource() { return fullScaleSource; }

  /**
   * Error code of the beats of the whole recording: 0, 3 when no stretch gave a plausible rhythm,
   * 5 or 6 when any stretch was saturated or irregular.
   * @return the error
   */
  public int error() { return error; }

  /**
   * Heart rate from the median RR interval, beats per minute; empty when none was computed.
   * @return the heart rate bpm
   */
  public OptionalDouble heartRateBpm() {
    return Double.isNaN(heartRateBpm) ? OptionalDouble.empty() : OptionalDouble.of(heartRateBpm);
  }

  /**
   * Heart rate from the trimmed mean RR interval, beats per minute; empty when none was computed.
   * @return the mean heart rate bpm
   */
  public OptionalDouble meanHeartRateBpm() {
    return Double.isNaN(meanHeartRateBpm) ? OptionalDouble.empty() : OptionalDouble.of(meanHeartRateBpm);
  }

  /**
   * Beats of the majority morphology.
   * @return the normal beats
   */
  public Beats normalBeats() { return normalBeats; }
  /**
   * Beats of any other morphology.
   * @return the extra systoles
   */
  public Beats extraSystoles() { return extraSystoles; }
  /** {@return the quality windows} */
  public List<QualityWindow> qualityWindows() { return qualityWindows; }

  /**
   * Share of quality windows rated good, 0 to 1; NaN without windows.
   * @return the good window share
   */
  public double goodWindowShare() {
    long good = qualityWindows.stream().filter(QualityWindow::isGood).count();
    return qualityWindows.isEmpty() ? Double.NaN : (double) good / qualityWindows.size();
  }

  /** {@return the stretches} */
  public List<Stretch> stretches() { return stretches; }

  /**
   * Error code of the whole-recording HRV: 0, 1 not requested (mode QRS), 3 no plausible rhythm,
   * 4 no spectrum (band powers NaN), 8 five or fewer normal beats.
   * @return the hrv error
   */
  public int hrvError() { return hrvError; }

  /**
   * Whole-recording HRV statistics; empty in mode QRS or when the recording allows none.
   * @return the hrv
   */
  public Optional<HrvStatistics> hrv() { return Optional.ofNullable(hrv); }
  /**
   * The per-5-minute table.
   * @return the segments
   */
  public List<SegmentSummary> segments() { return segments; }
  /**
   * Likely mistakes in the input or options.
   * @return the warnings
   */
  public List<String> warnings() { return warnings; }
  /**
   * Why there are no HRV statistics, when there are none; else empty.
   * @return the hrv note
   */
  public String hrvNote() { return hrvNote; }

  @Override
  public String toString() {
    return "RecordingResult{" + source + ", " + format + ", error " + error + ", " + samplingRateHz + " Hz, " + sampleCount
        + " samples, hr=" + heartRateBpm + ", hrMean=" + meanHeartRateBpm + ", normal=" + normalBeats.count()
        + ", extra=" + extraSystoles.count() + ", windows=" + qualityWindows.size() + ", stretches="
        + stretches.size() + ", hrv=" + hrv + ", warnings=" + warnings + "}";
  }
}
