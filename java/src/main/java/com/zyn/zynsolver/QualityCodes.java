package com.zyn.zynsolver;

/** Values of the {@code qualities} arrays: the rating of each signal-quality window. */
public final class QualityCodes {
  /** The window is good. */
  public static final int GOOD = 0;
  /** Fewer than two beats in the window. */
  public static final int TOO_FEW_BEATS = 3;
  /** The signal is saturated in the window. */
  public static final int SATURATED = 5;
  /** The rhythm is irregular in the window. */
  public static final int IRREGULAR = 6;
  /** Padding: no window (also every entry of a refused analysis). */
  public static final int NONE = -1;

  private QualityCodes() {}

  /**
   * The meaning of a window's quality code in words.
   *
   * @param code an entry of a {@code qualities} array
   * @return its meaning, or "unknown code"
   */
  public static String meaning(int code) {
    switch (code) {
      case GOOD:
        return "good";
      case TOO_FEW_BEATS:
        return "fewer than two beats";
      case SATURATED:
        return "saturated";
      case IRREGULAR:
        return "irregular rhythm";
      case NONE:
        return "no window";
      default:
        return "unknown code";
    }
  }
}
