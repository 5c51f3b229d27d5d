package com.zyn.zynsolver;

import static org.junit.jupiter.api.Assertions.assertArrayEquals;
import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertNotEquals;
import static org.junit.jupiter.api.Assertions.assertTrue;

import com.zyn.zynsolver.Signals.Analysis;
import java.util.Arrays;
import java.util.stream.DoubleStream;
import org.junit.jupiter.api.Test;
import org.junit.jupiter.params.ParameterizedTest;
import org.junit.jupiter.params.provider.CsvSource;

/** Error codes, array lengths and sample positions of both analyses as a Java caller receives them. */
class BoundaryTest {
  private static final double MV = Signals.FULL_SCALE_MV;

  /** Number of positions at the front of a beat array; the rest must be -1 padding. */
  static int used(int[] a) {
    int n = (int) Arrays.stream(a).takeWhile(v -> v != -1).count();
    assertTrue(Arrays.stream(a, n, a.length).allMatch(v -> v == -1), "padding is -1 to the end");
    return n;
  }

  /**
   * Each request gives its error and beat arrays of its length, and statistics with error 0 only. A
   * rejected request gives no beats, rates or quality windows; the others (error 8: five or fewer
   * beats) give beats and rates.
   */
  @ParameterizedTest(name = "{0} of {1}, fs {2}, from second {3}, full scale {4}: error {5}, arrays of {6}")
  @CsvSource({
    "qrs, 3000, 200, 0, 10.0, 0, 100",
    "qrs, 119936, 200, 0, 10.0, 0, 1852",
    "qrs, 12000, 200, 54, 10.0, 0, 235",
    "hrv, 36000, 200, 0, 10.0, 0, 740",
    "hrv, 120000, 200, 0, 10.0, 0, 2000",
    "hrv, 36000, 200, 174, 10.0, 8, 740",
    "qrs, null, 200, 0, 10.0, 1, 100",
    "hrv, null, 200, 0, 10.0, 1, 740",
    "qrs, flat, 200, 0, 10.0, 3, 100",
    "qrs, 2999, 200, 0, 10.0, 2, 100",
    "qrs, 119937, 200, 0, 10.0, 2, 100",
    "qrs, 12000, 199, 0, 10.0, 2, 100",
    "qrs, 12000, 201, 0, 10.0, 2, 97",
    "qrs, 12000, 0, 0, 10.0, 2, 55",
    "qrs, 12000, -5, 0, 10.0, 2, 55",
    "qrs, 12000, 200, -1, 10.0, 7, 100",
    "qrs, 12000, 200, 0, -1.0, 7, 100",
    "qrs, 12000, 200, 0, NaN, 7, 100",
    "hrv, 35999, 200, 0, 10.0, 2, 740",
    "hrv, 120001, 200, 0, 10.0, 2, 740",
    "hrv, 40000, 201, 0, 10.0, 2, 737",
    "hrv, 40000, 0, 0, 10.0, 2, 200",
    "qrs, 12000 NaN@2000, 200, 0, 10.0, 9, 100",
    "hrv, 120000 NaN@60000, 200, 0, 10.0, 9, 740",
    "hrv, 120000 NaN@119999, 200, 60, 10.0, 9, 740",
    "qrs, 12000 NaN@1999, 200, 10, 10.0, 0, 235",
  })
  void requestsGiveTheirErrorAndArrayLengths(String mode, String recording, int fs, int start, double fullScale,
      int error, int arrayLength) throws Exception {
    double[] ecg = switch (recording) {
      case "null" -> null;
      case "flat" -> new double[12000];
      default -> withSample(recording);
    };
    Analysis r = Signals.analyse(mode, ecg, fs, start, fullScale);
    assertEquals(error, r.error());
    for (int[] a : Arrays.copyOf(r.arrays(), 4)) {
      assertEquals(arrayLength, a.length);
    }
    if (error != 0) {
      assertArrayEquals(new double[r.statistics().length], r.statistics(), "no statistics");
    }
    boolean rejected = error != 0 && error != 8;
    assertEquals(rejected, used(r.rpeaks()) == 0 || r.hr() == 0 || r.hrMean() == 0, "beats and rates");
    if (rejected) {
      assertTrue(r.hr() == 0 && r.hrMean() == 0, "no heart rates");
      for (int[] a : r.arrays()) {
        assertEquals(0, used(a), "no beats and no quality windows");
      }
    }
  }

  /** "N" is a synthetic recording of N samples; "N V@i" the same with sample i set to V. */
  static double[] withSample(String recording) {
    String[] parts = recording.split("[ @]");
    double[] ecg = Signals.ecg(Integer.parseInt(parts[0]), 75, 4);
    if (parts.length == 3) {
      ecg[Integer.parseInt(parts[2])] = Double.parseDouble(parts[1]);
    }
    return ecg;
  }

  /** Infinite samples are not refused as not-a-number: they count as saturation. */
  @Test
  void infiniteSamplesAreAnalysedNotRefused() throws Exception {
    for (String mode : new String[] {"qrs", "hrv"}) {
      Analysis r = Signals.analyse(mode, withSample("40000 Infinity@20000"), 200, 0, MV);
      assertNotEquals(ErrorCodes.NOT_A_NUMBER, r.error(), mode);
      assertTrue(used(r.qualities()) > 0, mode + ": quality windows rated");
    }
  }

  @Test
  void beatsAreCountedFromTheStartOfTheWholeRecording() throws Exception {
    double[] stretch = Signals.ecg(40 * 200, 70, 2);
    double[] padded = DoubleStream.concat(Arrays.stream(Signals.ecg(10 * 200, 90, 3)), Arrays.stream(stretch))
        .toArray();
    Analysis alone = Signals.analyse("qrs", stretch, 200, 0, MV);
    Analysis shifted = Signals.analyse("qrs", padded, 200, 10, MV);
    assertEquals(0, alone.error());
    assertEquals(alone.hr(), shifted.hr());
    assertArrayEquals(alone.qualities(), shifted.qualities(), "one quality per window of the stretch only");
    int n = used(alone.rpeaks());
    assertEquals(n, used(shifted.rpeaks()));
    assertArrayEquals(Arrays.stream(alone.rpeaks(), 0, n).map(i -> i + 2000).toArray(),
        Arrays.copyOf(shifted.rpeaks(), n));
  }
}
