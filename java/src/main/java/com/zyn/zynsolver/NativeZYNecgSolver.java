package com.zyn.zynsolver;

import java.io.File;
import javax.crypto.SealedObject;

/**
 * Entry to the native ECG analysis library {@code libzynecgsolver}.
 *
 * <p>Both analyses take the whole recording sampled at 200 Hz, the second at which the analysed
 * stretch begins, the length of the signal-quality windows in seconds and the full-scale
 * amplitude of the recorder (in the units of the samples). They return the results sealed under
 * AES; open them with {@link SealedResults}. Every call is independent and thread-safe.
 *
 * <p>The library is loaded from the file named by the system property {@code
 * zynecg.library.path} when it is set, otherwise with {@code System.loadLibrary("zynecgsolver")}
 * from {@code java.library.path}.
 */
public final class NativeZYNecgSolver {
  /** System property naming the native library file to load instead of the library path. */
  public static final String LIBRARY_PATH_PROPERTY = "zynecg.library.path";

  static {
    loadNativeLibrary();
  }

  private static void loadNativeLibrary() {
    String explicit = System.getProperty(LIBRARY_PATH_PROPERTY);
    try {
      if (explicit != null && !explicit.isEmpty()) {
        System.load(new File(explicit).getAbsolutePath());
      } else {
        System.loadLibrary("zynecgsolver");
      }
    } catch (UnsatisfiedLinkError e) {
      String tried =
          explicit != null && !explicit.isEmpty()
              ? "the file " + new File(explicit).getAbsolutePath() + " (from -D" + LIBRARY_PATH_PROPERTY + ")"
              : "libzynecgsolver.so on java.library.path=" + System.getProperty("java.library.path");
      UnsatisfiedLinkError wrapped =
          new UnsatisfiedLinkError("Could not load the ZYN ECG solver: tried " + tried + ": " + e.getMessage());
      wrapped.initCause(e);
      throw wrapped;
    }
  }

  /**
   * Finds the R peaks of the stretch, splits them into normal beats and extra systoles, rates the
   * signal quality and computes two heart rates.
   *
   * @param ecg whole recording, 3000 to 119936 samples at 200 Hz
   * @param fs sampling rate in Hz; must be 200
   * @param startSeconds second of the recording at which the analysed stretch begins
   * @param qualityWindowSeconds length of the quality windows in seconds (more than 4 to split)
   * @param fullScale largest magnitude the recorder can represent, in sample units; positive
   * @return a {@link ZYNecgQrsResults} sealed under AES, or null when the Java side of the
   *     sealing is unavailable
   */
  public native SealedObject runQRSDetection(
      double[] ecg, int fs, int startSeconds, int qualityWindowSeconds, double fullScale);

  /**
   * Runs the beat detection of {@link #runQRSDetection} on a recording of 36000 to 120000 samples
   * and computes the heart-rate-variability statistics (time domain and Lomb band powers).
   *
   * @return a {@link ZYNecgResults} sealed under AES, or null when the Java side of the sealing is
   *     unavailable
   */
  public native SealedObject runHRV(
      double[] ecg, int fs, int startSeconds, int qualityWindowSeconds, double fullScale);

  /** Version of the native library, "1.5.4". */
  public native String getVersion();
}
