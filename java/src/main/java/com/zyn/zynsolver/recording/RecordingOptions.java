package com.zyn.zynsolver.recording;

import java.io.Serializable;
import java.util.Objects;

/**
 * The options of a whole-recording analysis, as the command-line tool takes them. Immutable: each
 * {@code with} method returns a copy with one option changed.
 *
 * <pre>{@code
 * RecordingOptions options = RecordingOptions.defaults().withMode(AnalysisMode.QRS).withWindowSeconds(30);
 * }</pre>
 */
public final class RecordingOptions implements Serializable {
  private static final long serialVersionUID = 1L;

  /** What is computed. */
  private final AnalysisMode mode;
  /** Whole seconds into the recording at which the analysis starts. */
  private final int startSeconds;
  /** Length of the signal-quality windows, seconds. */
  private final int windowSeconds;
  /** Recorder full scale in the signal's units; NaN: the header's, else 10. */
  private final double fullScale;
  /** Signal name or 0-based index; empty: the first ECG signal. */
  private final String signal;
  /** "auto", "csv", "wfdb" or "edf". */
  private final String format;
  /** Sampling rate for files that give none, Hz; NaN: the file's own. */
  private final double samplingRateHz;

  private RecordingOptions(AnalysisMode mode, int startSeconds, int windowSeconds, double fullScale, String signal,
      String format, double samplingRateHz) {
    this.mode = Objects.requireNonNull(mode, "mode");
    this.startSeconds = startSeconds;
    this.windowSeconds = windowSeconds;
    this.fullScale = fullScale;
    this.signal = Objects.requireNonNull(signal, "signal");
    this.format = Objects.requireNonNull(format, "format");
    this.samplingRateHz = samplingRateHz;
  }

  /**
   * Mode {@link AnalysisMode#BOTH}, start 0 s, quality windows of 10 s, the full scale of the
   * file's header (else 10 mV), the first ECG signal, the format told by the file's name.
   * @return the default options
   */
  public static RecordingOptions defaults() {
    return new RecordingOptions(AnalysisMode.BOTH, 0, 10, Double.NaN, "", "auto", Double.NaN);
  }

  /**
   * What is computed.
   * @param value the new value
   * @return a copy with this option changed
   */
  public RecordingOptions withMode(AnalysisMode value) {
    return new RecordingOptions(value, startSeconds, windowSeconds, fullScale, signal, format, samplingRateHz);
  }

  /**
   * The analysis starts this many whole seconds into the recording; 0 or more.
   * @param value the new value
   * @return a copy with this option changed
   */
  public RecordingOptions withStartSeconds(int value) {
    return new RecordingOptions(mode, value, windowSeconds, fullScale, signal, format, samplingRateHz);
  }

  /**
   * Length of the signal-quality windows in seconds; positive.
   * @param value the new value
   * @return a copy with this option changed
   */
  public RecordingOptions withWindowSeconds(int value) {
    return new RecordingOptions(mode, startSeconds, value, fullScale, signal, format, samplingRateHz);
  }

  /**
   * Largest magnitude the recorder represents, in the signal's units (millivolts for the file
   * readers); NaN for the file header's value, else 10.
   * @param value the new value
   * @return a copy with this option changed
   */
  public RecordingOptions withFullScale(double value) {
    return new RecordingOptions(mode, startSeconds, windowSeconds, value, signal, format, samplingRateHz);
  }

  /**
   * Signal name or 0-based index (CSV column, WFDB or EDF signal); empty for the first ECG signal.
   * @param value the new value
   * @return a copy with this option changed
   */
  public RecordingOptions withSignal(String value) {
    return new RecordingOptions(mode, startSeconds, windowSeconds, fullScale, value, format, samplingRateHz);
  }

  /**
   * File format: "auto" (from the file's name), "csv", "wfdb" or "edf".
   * @param value the new value
   * @return a copy with this option changed
   */
  public RecordingOptions withFormat(String value) {
    return new RecordingOptions(mode, startSeconds, windowSeconds, fullScale, signal, value, samplingRateHz);
  }

  /**
   * Sampling rate of a file that does not give one (a CSV file without a time column), in Hz;
   * NaN to take the file's own.
   * @param value the new value
   * @return a copy with this option changed
   */
  public RecordingOptions withSamplingRateHz(double value) {
    return new RecordingOptions(mode, startSeconds, windowSeconds, fullScale, signal, format, value);
  }

  /** {@return what is computed} */
  public AnalysisMode mode() {
    return mode;
  }

  /** {@return the start second of the analysis} */
  public int startSeconds() {
    return startSeconds;
  }

  /** {@return the quality window length, seconds} */
  public int windowSeconds() {
    return windowSeconds;
  }

  /**
   * The full scale asked for, NaN when the file's header (else 10) decides.
   * @return the full scale
   */
  public double fullScale() {
    return fullScale;
  }

  /** {@return the signal asked for, empty for the first ECG signal} */
  public String signal() {
    return signal;
  }

  /** {@return the file format asked for} */
  public String format() {
    return format;
  }

  /**
   * The sampling rate given for files, NaN when the file's own is taken.
   * @return the sampling rate hz
   */
  public double samplingRateHz() {
    return samplingRateHz;
  }

  @Override
  public String toString() {
    return "RecordingOptions{mode=" + mode + ", startSeconds=" + startSeconds + ", windowSeconds="
        + windowSeconds + ", fullScale=" + (Double.isNaN(fullScale) ? "from header" : fullScale)
        + ", signal=" + (signal.isEmpty() ? "first ECG" : signal) + ", format=" + format
        + (Double.isNaN(samplingRateHz) ? "" : ", samplingRateHz=" + samplingRateHz) + "}";
  }
}
