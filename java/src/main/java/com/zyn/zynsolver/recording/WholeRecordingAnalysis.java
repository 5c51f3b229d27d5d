package com.zyn.zynsolver.recording;

import java.io.IOException;
import java.io.UncheckedIOException;
import java.nio.file.Files;
import java.nio.file.Path;
import java.util.Comparator;
import java.util.Map;
import java.util.Objects;
import java.util.stream.Stream;

/**
 * Whole-recording analysis from Java: samples at any rate and of any length, or a WFDB record,
 * EDF/EDF+ file or CSV file, analysed exactly as the command-line tool analyses them (resampled to
 * 200 Hz, analysed in overlapping stretches, beats merged, HRV computed once over the whole
 * recording). The work is done by the native whole-recording library; this class only passes the
 * input over and returns plain results.
 *
 * <p>Every call runs on the caller's thread and is independent: analyse many recordings at once
 * from as many threads as there are cores. Unusable input throws {@link RecordingException} with
 * the tool's message; bad options throw {@link IllegalArgumentException}.
 *
 * <pre>{@code
 * RecordingResult r = WholeRecordingAnalysis.analyse(Path.of("mitdb/100.hea"), RecordingOptions.defaults());
 * System.out.println(r.heartRateBpm() + " bpm, SDNN " + r.hrv().get().sdnn() + " s");
 * }</pre>
 */
public final class WholeRecordingAnalysis {
  private WholeRecordingAnalysis() {}

  /**
   * Analyses samples taken at {@code samplingRateHz}, in the units of {@code options.fullScale()}.
   * @param samples the recording's samples
   * @param samplingRateHz their sampling rate, Hz
   * @param options what to compute and how
   * @return the results of the whole recording
   */
  public static RecordingResult analyse(double[] samples, double samplingRateHz, RecordingOptions options) {
    Objects.requireNonNull(samples, "samples");
    checkOptions(options);
    return RecordingNative.analyseSamples(samples, samplingRateHz, options.mode().ordinal(), options.startSeconds(),
        options.windowSeconds(), options.fullScale());
  }

  /**
   * Analyses single-precision samples taken at {@code samplingRateHz}.
   * @param samples the recording's samples
   * @param samplingRateHz their sampling rate, Hz
   * @param options what to compute and how
   * @return the results of the whole recording
   */
  public static RecordingResult analyse(float[] samples, double samplingRateHz, RecordingOptions options) {
    Objects.requireNonNull(samples, "samples");
    checkOptions(options);
    return RecordingNative.analyseFloatSamples(samples, samplingRateHz, options.mode().ordinal(),
        options.startSeconds(), options.windowSeconds(), options.fullScale());
  }

  /**
   * Analyses a file: a WFDB record by its header ({@code .hea}, its signal files beside it), an
   * EDF/EDF+ file or a CSV file; the format comes from the file's name unless the options name it.
   * @param file a WFDB header, EDF/EDF+ or CSV file
   * @param options what to compute and how
   * @return the results of the whole recording
   */
  public static RecordingResult analyse(Path file, RecordingOptions options) {
    Objects.requireNonNull(file, "file");
    checkOptions(options);
    return RecordingNative.analyseFile(file.toString(), options.format(), options.signal(),
        options.samplingRateHz(), options.mode().ordinal(), options.startSeconds(), options.windowSeconds(),
        options.fullScale(), file.toString());
  }

  /**
   * Analyses the content of one file (EDF/EDF+ or CSV) named {@code fileName}.
   * @param content the file's bytes
   * @param fileName the file's name (its extension tells the format)
   * @param options what to compute and how
   * @return the results of the whole recording
   */
  public static RecordingResult analyse(byte[] content, String fileName, RecordingOptions options) {
    Objects.requireNonNull(content, "content");
    return analyse(Map.of(fileName, content), fileName, options);
  }

  /**
   * Analyses a recording held in memory as the files it consists of, by plain file name: for a
   * WFDB record its header and signal files ({@code {"100.hea": ..., "100.dat": ...}}), for EDF
   * or CSV the one file. {@code mainFile} names the file to open. Messages and the result's source
   * name the file as given.
   * @param files the files' bytes by plain file name
   * @param mainFile the file to open
   * @param options what to compute and how
   * @return the results of the whole recording
   */
  public static RecordingResult analyse(Map<String, byte[]> files, String mainFile, RecordingOptions options) {
    Objects.requireNonNull(files, "files");
    Objects.requireNonNull(mainFile, "mainFile");
    checkOptions(options);
    for (String name : files.keySet()) {
      checkPlainName(name);
    }
    if (!files.containsKey(mainFile)) {
      throw new IllegalArgumentException(mainFile + " is not among the files given: " + files.keySet());
    }
    Path folder;
    try {
      folder = Files.createTempDirectory("zynecg-recording");
    } catch (IOException e) {
      throw new UncheckedIOException("cannot create a temporary folder for " + mainFile, e);
    }
    try {
      for (Map.Entry<String, byte[]> f : files.entrySet()) {
        Files.write(folder.resolve(f.getKey()), f.getValue());
      }
      Path main = folder.resolve(mainFile);
      try {
        return RecordingNative.analyseFile(main.toString(), options.format(), options.signal(),
            options.samplingRateHz(), options.mode().ordinal(), options.startSeconds(), options.windowSeconds(), options.fullScale(),
            mainFile);
      } catch (RecordingException e) {
        // The reader names the temporary copy; name the file as the caller knows it.
        throw new RecordingException(e.getMessage().replace(main.toString(), mainFile)
            .replace(folder.toString() + "/", ""));
      }
    } catch (IOException e) {
      throw new UncheckedIOException("cannot write a temporary copy of " + mainFile, e);
    } finally {
      deleteQuietly(folder);
    }
  }

  /**
   * Version of the native whole-recording library.
   * @return the version, "1.5.4"
   */
  public static String nativeVersion() {
    return RecordingNative.version();
  }

  private static void checkOptions(RecordingOptions options) {
    Objects.requireNonNull(options, "options");
    if (options.startSeconds() < 0) {
      throw new IllegalArgumentException("start must be 0 or more seconds, not " + options.startSeconds());
    }
    if (options.windowSeconds() <= 0) {
      throw new IllegalArgumentException("the quality window must be positive, not " + options.windowSeconds());
    }
  }

  private static void checkPlainName(String name) {
    if (name.isEmpty() || name.contains("/") || name.contains("\\") || name.equals(".") || name.equals("..")) {
      throw new IllegalArgumentException("file names must be plain names without folders: " + name);
    }
  }

  private static void deleteQuietly(Path folder) {
    try (Stream<Path> paths = Files.walk(folder)) {
      paths.sorted(Comparator.reverseOrder()).forEach(p -> p.toFile().delete());
    } catch (IOException | UncheckedIOException e) {
      // A temporary folder left behind is removed by the system's temporary-file cleaning.
    }
  }
}
