package com.zyn.zynsolver.recording;


/**
 * Signal quality of one window of the analysed signal: code 0 good, 3 fewer than two beats, 5
 * saturated, 6 irregular, -1 not rated.
 */
public final class QualityWindow {
  private final double startSeconds;
  private final double endSeconds;
  private final int code;

  QualityWindow(double startSeconds, double endSeconds, int code) {
    this.startSeconds = startSeconds;
    this.endSeconds = endSeconds;
    this.code = code;
  }

  /**
   * Start of the window, seconds from the start of the recording.
   * @return the start seconds
   */
  public double startSeconds() {
    return startSeconds;
  }

  /** {@return the end of the window, seconds from the start of the recording} */
  public double endSeconds() {
    return endSeconds;
  }

  /** {@return the quality code} */
  public int code() {
    return code;
  }

  /** {@return whether the window is rated good (code 0)} */
  public boolean isGood() {
    return code == 0;
  }

  @Override
  public String toString() {
    return "[" + startSeconds + " s, " + endSeconds + " s) code " + code;
  }
}
