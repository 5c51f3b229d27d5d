package com.zyn.zynsolver;

/** Readable rendering of padded index arrays: the used entries and the padded length. */
final class Format {
  private static final int SHOWN = 12;

  private Format() {}

  static String indices(int[] values) {
    if (values == null) {
      return "null";
    }
    int used = Padded.count(values);
    StringBuilder b = new StringBuilder("[");
    for (int i = 0; i < Math.min(used, SHOWN); i++) {
      b.append(i == 0 ? "" : ", ").append(values[i]);
    }
    if (used > SHOWN) {
      b.append(", ...");
    }
    return b.append("] (").append(used).append(" of ").append(values.length).append(")").toString();
  }
}
