package com.zyn.zynsolver;

import javax.crypto.SealedObject;

/**
 * Entry to the native ECG analysis library {@code libzynecgsolver}.
 *
 * <p>Both analyses take the whole recording sampled at 200 Hz, the second at which the analysed
 * stretch begins, the length of the signal-quality windows in seconds and the full-scale
 * amplitude of the recorder (in the units of the samples). They return the results sealed under
 * AES; open them with {@link SealedResults}. Every call is independent and thread-safe. A stretch
 * holding a NaN sample is refused with {@link ErrorCodes#NOT_A_NUMBER} before any analysis.
 *
 * <p>The native library is loaded when this class is first used, by {@link NativeLibraryLoader}:
 * from the file named by the system property {@value #LIBRARY_PATH_PROPERTY} when it is set,
 * else from {@code java.library.path}, else the copy bundled in this jar for the running
 * platform.
 */
public final class NativeZYNecgSolver {
  /** System property naming the native library file to load instead of any other. */
  public static final String LIBRARY_PATH_PROPERTY = "zynecg.library.path";

  /** Name of the native library, as {@link System#loadLibrary} takes it. */
  public static final String LIBRARY_NAME = "zynecgsolver";

  /** The only sampling rate the analyses accept, in Hz. */
  public static final int SAMPLING_RATE_HZ = 200;

  /** Fewest samples {@link #runQRSDetection} accepts (15 s at 200 Hz). */
  public static final int QRS_MIN_SAMPLES = 3000;

  /** Most samples {@link #runQRSDetection} accepts (599.68 s at 200 Hz). */
  public static final int QRS_MAX_SAMPLES = 119936;

  /** Fewest samples {@link #runHRV} accepts (3 minutes at 200 Hz). */
  public static final int HRV_MIN_SAMPLES = 36000;

  /** Most samples {@link #runHRV} accepts (10 minutes at 200 Hz). */
  public static final int HRV_MAX_SAMPLES = 120000;

  private static final String LIBRARY_ORIGIN =
      NativeLibraryLoader.loadWithDependencies(LIBRARY_NAME, LIBRARY_PATH_PROPERTY, NativeZYNecgSolver.class);

  /** Makes a solver; the native library is already loaded. Solvers hold no state. */
  public NativeZYNecgSolver() {}

  /**
   * Where the native library was loaded from.
   *
   * @return the file and the property that named it, {@code java.library.path}, or the bundled
   *     resource
   */
  public static String libraryOrigin() {
    return LIBRARY_ORIGIN;
  }

  /**
   * Finds the R peaks of the stretch, splits them into normal beats and extra systoles, rates the
   * signal quality and computes two heart rates.
   *
   * @param ecg whole recording, {@value #QRS_MIN_SAMPLES} to {@value #QRS_MAX_SAMPLES} samples at
   *     200 Hz
   * @param fs sampling rate in Hz; must be 200
   * @param startSeconds second of the recording at which the analysed stretch begins
   * @param qualityWindowSeconds length of the quality windows in seconds (5 or more to split)
   * @param fullScale largest magnitude the recorder can represent, in sample units; positive
   * @return a {@link ZYNecgQrsResults} sealed under AES (its {@code error} field tells whether
   *     the request was refused), or null when the Java side of the sealing is unavailable (a
   *     message on standard output says why)
   * @throws OutOfMemoryError when the Java heap or native memory runs out during the call
   */
  public native SealedObject runQRSDetection(
      double[] ecg, int fs, int startSeconds, int qualityWindowSeconds, double fullScale);

  /**
   * Runs the beat detection of {@link #runQRSDetection} and computes the heart-rate-variability
   * statistics (time domain and Lomb band powers).
   *
   * @param ecg whole recording, {@value #HRV_MIN_SAMPLES} to {@value #HRV_MAX_SAMPLES} samples at
   *     200 Hz
   * @param fs sampling rate in Hz; must be 200
   * @param startSeconds second of the recording at which the analysed stretch begins
   * @param qualityWindowSeconds length of the quality windows in seconds (5 or more to split)
   * @param fullScale largest magnitude the recorder can represent, in sample units; positive
   * @return a {@link ZYNecgResults} sealed under AES, or null when the Java side of the sealing is
   *     unavailable
   * @throws OutOfMemoryError when the Java heap or native memory runs out during the call
   */
  public native SealedObject runHRV(
      double[] ecg, int fs, int startSeconds, int qualityWindowSeconds, double fullScale);

  /**
   * Version of the loaded native library.
   *
   * @return "major.minor.patch", "1.5.4" for this release
   */
  public native String getVersion();
}
