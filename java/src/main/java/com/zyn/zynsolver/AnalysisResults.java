package com.zyn.zynsolver;

/**
 * What both results classes offer on top of their fields: the valid part of each padded array
 * (entries before the -1 padding) and the meaning of the error code. It adds no field, so the
 * serialized form of the results is unchanged.
 */
public abstract class AnalysisResults {
  private static final int RPEAKS = 0;
  private static final int EXTRA_SYSTOLES = 1;
  private static final int QUALITIES = 2;

  /** Only {@link ZYNecgQrsResults} and {@link ZYNecgResults} extend this class. */
  AnalysisResults() {}

  /** The error code and the arrays rpeaks, extra systoles and qualities, as they stand. */
  abstract int errorCode();

  abstract int[][] paddedArrays();

  /**
   * Number of valid entries of the {@code rpeaks} field.
   *
   * @return the normal beats found
   */
  public int rpeakCount() {
    return Padded.count(paddedArrays()[RPEAKS]);
  }

  /**
   * Number of valid entries of the {@code extra_systoles} field.
   *
   * @return the extra systoles found
   */
  public int extraSystoleCount() {
    return Padded.count(paddedArrays()[EXTRA_SYSTOLES]);
  }

  /**
   * Number of valid entries of the {@code qualities} field.
   *
   * @return the quality windows rated (0 when the analysis was refused)
   */
  public int qualityCount() {
    return Padded.count(paddedArrays()[QUALITIES]);
  }

  /**
   * The valid entries of the {@code rpeaks} field.
   *
   * @return a new array of the normal beats' sample indices
   */
  public int[] validRpeaks() {
    return Padded.valid(paddedArrays()[RPEAKS]);
  }

  /**
   * The valid entries of the {@code extra_systoles} field.
   *
   * @return a new array of the extra systoles' sample indices
   */
  public int[] validExtraSystoles() {
    return Padded.valid(paddedArrays()[EXTRA_SYSTOLES]);
  }

  /**
   * The valid entries of the {@code qualities} field.
   *
   * @return a new array of the windows' quality codes (see {@link QualityCodes})
   */
  public int[] validQualities() {
    return Padded.valid(paddedArrays()[QUALITIES]);
  }

  /**
   * The meaning of the {@code error} field in words.
   *
   * @return as {@link ErrorCodes#meaning(int)}
   */
  public String errorMeaning() {
    return ErrorCodes.meaning(errorCode());
  }
}
