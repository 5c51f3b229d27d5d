package com.zyn.zynsolver;

import java.util.Arrays;

/**
 * The arrays of the results: valid entries first, then -1 to the end. Valid entries are sample
 * indices or quality codes, never -1, so the first -1 is found by bisection.
 */
final class Padded {
  private Padded() {}

  /** Number of entries before the padding (0 for null). */
  static int count(int[] values) {
    if (values == null) {
      return 0;
    }
    int lo = 0;
    int hi = values.length;
    while (lo < hi) {
      int mid = (lo + hi) >>> 1;
      if (values[mid] == -1) {
        hi = mid;
      } else {
        lo = mid + 1;
      }
    }
    return lo;
  }

  /** A copy of the entries before the padding (empty for null). */
  static int[] valid(int[] values) {
    return values == null ? new int[0] : Arrays.copyOf(values, count(values));
  }
}
