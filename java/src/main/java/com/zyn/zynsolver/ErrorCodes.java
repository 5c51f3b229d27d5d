package com.zyn.zynsolver;

/**
 * Values of the {@code error} field of {@link ZYNecgQrsResults} and {@link ZYNecgResults}. With
 * {@link #OK}, {@link #NO_SPECTRUM}, {@link #SATURATED}, {@link #IRREGULAR} and {@link
 * #TOO_FEW_BEATS_FOR_HRV} the beats are reported; with the others every array holds only -1.
 */
public final class ErrorCodes {
  /** Success. */
  public static final int OK = 0;
  /** No recording given (a null array). */
  public static final int NO_RECORDING = 1;
  /** Recording length outside the accepted range, or sampling rate not 200 Hz. */
  public static final int BAD_LENGTH_OR_RATE = 2;
  /** Fewer than two R peaks, heart rate outside 30..220 bpm, or RR intervals implausibly short. */
  public static final int NO_PLAUSIBLE_RHYTHM = 3;
  /** HRV only: no spectral point at or below 0.4 Hz; the band powers are 0. */
  public static final int NO_SPECTRUM = 4;
  /** Success, but the signal is saturated (exceeds 97 % of full scale). */
  public static final int SATURATED = 5;
  /** Success, but the rhythm is irregular. */
  public static final int IRREGULAR = 6;
  /** Start second too late or negative, or full scale not positive. */
  public static final int BAD_START_OR_FULL_SCALE = 7;
  /** HRV only: five or fewer R peaks; peaks and heart rates reported, no HRV statistics. */
  public static final int TOO_FEW_BEATS_FOR_HRV = 8;
  /** The analysed stretch holds a NaN sample; refused before any analysis. */
  public static final int NOT_A_NUMBER = 9;

  private static final String[] MEANINGS = {
    "success",
    "no recording given",
    "recording length outside the accepted range, or sampling rate not 200 Hz",
    "fewer than two R peaks, heart rate outside 30..220 bpm, or RR intervals implausibly short",
    "HRV: no spectral point at or below 0.4 Hz, frequency-domain values are 0",
    "success, but the signal is saturated (exceeds 97% of full scale)",
    "success, but the rhythm is irregular",
    "start second too late or negative, or full scale not positive",
    "five or fewer R peaks: no HRV statistics",
    "the recording holds samples that are not numbers",
  };

  private ErrorCodes() {}

  /**
   * The meaning of an error code in words.
   *
   * @param code a value of an {@code error} field
   * @return its meaning, or "unknown code"
   */
  public static String meaning(int code) {
    return code >= 0 && code < MEANINGS.length ? MEANINGS[code] : "unknown code";
  }

  /**
   * Whether results with this code report the detected beats.
   *
   * @param code a value of an {@code error} field
   * @return true for 0, 4, 5, 6 and 8
   */
  public static boolean reportsBeats(int code) {
    return code == OK || code == NO_SPECTRUM || code == SATURATED || code == IRREGULAR
        || code == TOO_FEW_BEATS_FOR_HRV;
  }
}
