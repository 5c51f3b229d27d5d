package com.zyn.zynsolver.recording;

import java.io.File;

/**
 * The native methods of the whole-recording library {@code libzynecgrecording}: marshalling only,
 * the analysis is the C++ whole-recording library's. Modes are {@link AnalysisMode} ordinals; a NaN
 * full scale takes the header's (else the default).
 */
final class RecordingNative {
  /** System property naming the native library file to load instead of the library path. */
  static final String LIBRARY_PATH_PROPERTY = "zynecg.recording.library.path";

  static {
    String explicit = System.getProperty(LIBRARY_PATH_PROPERTY);
    if (explicit != null && !explicit.isEmpty()) {
      System.load(new File(explicit).getAbsolutePath());
    } else {
      System.loadLibrary("zynecgrecording");
    }
  }

  private RecordingNative() {}

  static native RecordingResult analyseSamples(double[] samples, double samplingRateHz, int mode, int startSeconds,
      int windowSeconds, double fullScale);

  static native RecordingResult analyseFloatSamples(float[] samples, double samplingRateHz, int mode,
      int startSeconds, int windowSeconds, double fullScale);

  /**
   * Reads and analyses a file; a NaN rate takes the file's own; {@code sourceName} is what the
   * result calls the file.
   */
  static native RecordingResult analyseFile(String path, String format, String signal, double samplingRateHz,
      int mode, int startSeconds, int windowSeconds, double fullScale, String sourceName);

  static native String version();
}
