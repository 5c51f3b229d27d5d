package com.zyn.zynsolver.recording;

import com.zyn.zynsolver.NativeLibraryLoader;

/**
 * The native methods of the whole-recording library {@code libzynecgrecording}: marshalling only,
 * the analysis is the C++ whole-recording library's. Modes are {@link AnalysisMode} ordinals; a NaN
 * full scale takes the header's (else the default).
 *
 * <p>The library is loaded as {@link NativeLibraryLoader} loads libraries (the file named by
 * {@code -Dzynecg.recording.library.path}, else {@code java.library.path}, else the jar's copy);
 * the shared libraries the jar carries beside it (listed in {@code zynecgrecording.deps}, in load
 * order) are loaded first the same way, so that a host without them needs nothing installed.
 */
final class RecordingNative {
  /** System property naming the native library file to load instead of the library path. */
  static final String LIBRARY_PATH_PROPERTY = "zynecg.recording.library.path";

  private static final String NAME = "zynecgrecording";

  static {
    NativeLibraryLoader.loadWithDependencies(NAME, LIBRARY_PATH_PROPERTY, RecordingNative.class);
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
