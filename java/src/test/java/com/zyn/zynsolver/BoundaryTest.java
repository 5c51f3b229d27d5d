package com.zyn.zynsolver;

import static org.junit.jupiter.api.Assertions.assertArrayEquals;
import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertTrue;

import java.util.Arrays;
import java.util.stream.DoubleStream;
import org.junit.jupiter.api.Test;
import org.junit.jupiter.params.ParameterizedTest;
import org.junit.jupiter.params.provider.CsvSource;

/** Validation, error codes, array lengths and index arithmetic of both native analyses. */
class BoundaryTest {
  private static final NativeZYNecgSolver SOLVER = new NativeZYNecgSolver();
  private static final double FS = Signals.FULL_SCALE_MV;

  // Opening throws when the native call returned null instead of a sealed result.
  static ZYNecgQrsResults qrs(double[] ecg, int fs, int start, double fullScale) throws Exception {
    return SealedResults.openQrs(SOLVER.runQRSDetection(ecg, fs, start, 10, fullScale));
  }

  static ZYNecgResults hrv(double[] ecg, int fs, int start, double fullScale) throws Exception {
    return SealedResults.openHrv(SOLVER.runHRV(ecg, fs, start, 10, fullScale));
  }

  static int used(int[] a) {
    int n = 0;
    while (n < a.length && a[n] != -1) {
      n++;
    }
    for (int i = n; i < a.length; i++) {
      assertEquals(-1, a[i], "padding is -1 to the end");
    }
    return n;
  }

  static void assertAllMinusOne(int[] a, int length) {
    assertEquals(length, a.length);
    assertEquals(0, used(a));
  }

  @Test
  void qrsOnAPlausibleRecordingFindsEveryBeat() throws Exception {
    double[] ecg = Signals.ecg(60 * 200, 75, 1);
    ZYNecgQrsResults r = qrs(ecg, 200, 0, FS);
    assertEquals(0, r.error, r.toString());
    assertEquals(75.0, r.hr, 4.0);
    assertEquals(75.0, r.hr_mean, 4.0);
    assertAllMinusOne(r.qrs_onsets, 3 * 60 + 55);
    assertAllMinusOne(r.qrs_offsets, 3 * 60 + 55);
    int beats = used(r.rpeaks) + used(r.extra_systoles);
    assertTrue(beats >= 68 && beats <= 74, "beats between the first and last second: " + beats);
    assertArrayEquals(new int[6], r.qualities);
    for (int i = 1; i < used(r.rpeaks); i++) {
      assertTrue(r.rpeaks[i] > r.rpeaks[i - 1]);
    }
  }

  @Test
  void positionsAreShiftedToTheWholeRecording() throws Exception {
    double[] stretch = Signals.ecg(40 * 200, 70, 2);
    ZYNecgQrsResults alone = qrs(stretch, 200, 0, FS);
    double[] padded = DoubleStream.concat(Arrays.stream(Signals.ecg(10 * 200, 90, 3)), Arrays.stream(stretch)).toArray();
    ZYNecgQrsResults shifted = qrs(padded, 200, 10, FS);
    assertEquals(0, alone.error);
    assertEquals(alone.hr, shifted.hr);
    assertArrayEquals(alone.qualities, shifted.qualities, "one quality per window of the stretch only");
    int n = used(alone.rpeaks);
    assertEquals(n, used(shifted.rpeaks));
    for (int i = 0; i < n; i++) {
      assertEquals(alone.rpeaks[i] + 2000, shifted.rpeaks[i]);
    }
  }

  @ParameterizedTest(name = "{0} length {1}, fs {2}, start {3}, fullScale {4} -> error {5}")
  @CsvSource({
    "qrs, 2999, 200, 0, 10.0, 2, 100",
    "qrs, 119937, 200, 0, 10.0, 2, 100",
    "qrs, 12000, 199, 0, 10.0, 2, 100",
    "qrs, 12000, 201, 0, 10.0, 2, 97",
    "qrs, 12000, 0, 0, 10.0, 2, 55",
    "qrs, 12000, -5, 0, 10.0, 2, 55",
    "qrs, 12000, 200, -1, 10.0, 7, 100",
    "qrs, 12000, 200, 55, 10.0, 7, 100",
    "qrs, 12000, 200, 0, 0.0, 7, 100",
    "qrs, 12000, 200, 0, -1.0, 7, 100",
    "qrs, 12000, 200, 0, NaN, 7, 100",
    "hrv, 35999, 200, 0, 10.0, 2, 740",
    "hrv, 120001, 200, 0, 10.0, 2, 740",
    "hrv, 40000, 201, 0, 10.0, 2, 737",
    "hrv, 40000, 0, 0, 10.0, 2, 200",
  })
  void badRequestsGiveTheirErrorAndDefaultArrays(String mode, int length, int fs, int start,
      double fullScale, int error, int defaultLength) throws Exception {
    double[] ecg = Signals.ecg(length, 75, 4);
    if (mode.equals("qrs")) {
      ZYNecgQrsResults r = qrs(ecg, fs, start, fullScale);
      assertEquals(error, r.error);
      assertEquals(0.0, Math.abs(r.hr) + Math.abs(r.hr_mean));
      for (int[] a : new int[][] {r.rpeaks, r.extra_systoles, r.qrs_onsets, r.qrs_offsets}) {
        assertAllMinusOne(a, defaultLength);
      }
      assertEquals(0, used(r.qualities));
    } else {
      ZYNecgResults r = hrv(ecg, fs, start, fullScale);
      assertEquals(error, r.error);
      assertAllMinusOne(r.rpeaks, defaultLength);
      assertAllMinusOne(r.ppeaks, defaultLength);
      assertEquals(0.0, r.sdnn);
    }
  }

  @Test
  void qrsAcceptsTheLengthAndStartLimits() throws Exception {
    for (int length : new int[] {3000, 119936}) {
      ZYNecgQrsResults r = qrs(Signals.ecg(length, 80, 5), 200, 0, FS);
      assertTrue(r.error != 2 && r.error != 7, "length " + length + " accepted: " + r.error);
      assertEquals(3 * (length / 200) + 55, r.rpeaks.length);
    }
    ZYNecgQrsResults late = qrs(Signals.ecg(12000, 80, 6), 200, 54, FS);
    assertTrue(late.error != 7, "start (N div 200) - 6 accepted");
  }

  @Test
  void nullFlatAndSaturatedRecordings() throws Exception {
    ZYNecgQrsResults q = qrs(null, 200, 0, FS);
    assertEquals(1, q.error);
    assertAllMinusOne(q.rpeaks, 100);
    assertEquals(0, q.qualities.length);
    ZYNecgResults h = hrv(null, 200, 0, FS);
    assertEquals(1, h.error);
    assertAllMinusOne(h.tpeaks, 740);
    assertEquals(0, h.qualities.length);

    ZYNecgQrsResults flat = qrs(new double[12000], 200, 0, FS);
    assertEquals(3, flat.error, "no rhythm");
    assertAllMinusOne(flat.rpeaks, 100);

    ZYNecgQrsResults saturated = qrs(Signals.ecg(12000, 75, 8), 200, 0, 1.0);
    assertEquals(5, saturated.error);
    assertTrue(used(saturated.rpeaks) > 50, "the beats are still reported");
    assertArrayEquals(new int[] {5, 5, 5, 5, 5, 5}, saturated.qualities);
  }

  @Test
  void hrvOnAFullRecordingReportsEveryStatistic() throws Exception {
    for (int length : new int[] {36000, 120000}) {
      ZYNecgResults r = hrv(Signals.ecg(length, 70, 10 + length), 200, 0, FS);
      assertEquals(0, r.error, r.toString());
      assertEquals(3 * (length / 200) + 200, r.rpeaks.length);
      assertAllMinusOne(r.ppeaks, r.rpeaks.length);
      assertEquals(70.0, r.hr, 4.0);
      assertEquals(60.0 / 70.0, r.avnn, 0.05);
      assertTrue(r.sdnn > 0 && r.rmssd > 0 && r.tot_pwr > 0, r.toString());
      assertTrue(r.nn_rr > 0.9 && r.nn_rr <= 1.0);
      assertEquals(length / 2000, r.qualities.length);
    }
  }

  @Test
  void hrvWithFiveOrFewerBeatsReportsPeaksButNoStatistics() throws Exception {
    double[] ecg = Signals.ecg(36000, 75, 11);
    ZYNecgResults r = hrv(ecg, 200, 174, FS);  // a 6-second stretch
    int beats = used(r.rpeaks);
    assertTrue(beats >= 2 && beats <= 5, "beats " + beats);
    assertEquals(8, r.error);
    assertTrue(r.hr > 0);
    assertTrue(r.rpeaks[0] >= 174 * 200 + 200);
    assertArrayEquals(new double[13], new double[] {r.nn_rr, r.avnn, r.sdnn, r.sdann, r.sdnnidx,
        r.rmssd, r.pnn50, r.tot_pwr, r.ulf_pwr, r.vlf_pwr, r.lf_pwr, r.hf_pwr, r.lf_hf});
  }
}
