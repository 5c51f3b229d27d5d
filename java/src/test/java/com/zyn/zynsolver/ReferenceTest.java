package com.zyn.zynsolver;

import static org.junit.jupiter.api.Assertions.assertArrayEquals;
import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assumptions.assumeTrue;

import java.io.IOException;
import java.nio.charset.StandardCharsets;
import java.nio.file.Files;
import java.nio.file.Path;
import java.util.Arrays;
import java.util.HashMap;
import java.util.List;
import java.util.Map;
import org.junit.jupiter.api.Test;
import org.junit.jupiter.api.io.TempDir;

/**
 * The sealed Java results equal the C++ analyses field by field (doubles bit for bit), on the
 * bundled MIT-BIH excerpt and on generated recordings. The C++ side is printed by the reference
 * program named by the system property {@code zynecg.dump}.
 */
class ReferenceTest {
  private static final NativeZYNecgSolver SOLVER = new NativeZYNecgSolver();

  @TempDir Path temp;

  /** Runs the reference program and reads its "field value..." lines. */
  private Map<String, String[]> reference(String mode, double[] ecg, int fs, int start, int window,
      double fullScale) throws IOException, InterruptedException {
    String dump = System.getProperty("zynecg.dump");
    assumeTrue(dump != null && Files.isExecutable(Path.of(dump)), "reference program not built");
    Path raw = temp.resolve(mode + ".f64");
    Signals.writeRaw(ecg, raw);
    Process p = new ProcessBuilder(dump, mode, raw.toString(), Integer.toString(fs),
        Integer.toString(start), Integer.toString(window), Double.toString(fullScale))
        .redirectErrorStream(true).start();
    String out = new String(p.getInputStream().readAllBytes(), StandardCharsets.UTF_8);
    assertEquals(0, p.waitFor(), out);
    Map<String, String[]> fields = new HashMap<>();
    for (String line : out.split("\n")) {
      String[] parts = line.trim().split(" ");
      fields.put(parts[0], Arrays.copyOfRange(parts, 1, parts.length));
    }
    return fields;
  }

  private static int[] ints(String[] values) {
    return Arrays.stream(values).mapToInt(Integer::parseInt).toArray();
  }

  private static double[] doubles(String[] values) {
    return Arrays.stream(values).mapToDouble(Double::parseDouble).toArray();
  }

  private static void assertSameBits(double expected, double actual, String field) {
    assertEquals(Double.doubleToLongBits(expected), Double.doubleToLongBits(actual),
        field + ": " + expected + " vs " + actual);
  }

  /** Error, rates, peaks and qualities, the fields both analyses share. */
  private static void compareCommon(Map<String, String[]> ref, int error, double hr, double hrMean,
      int[] rpeaks, int[] extraSystoles, int[] qualities) {
    assertEquals(Integer.parseInt(ref.get("error")[0]), error);
    assertSameBits(Double.parseDouble(ref.get("hr")[0]), hr, "hr");
    assertSameBits(Double.parseDouble(ref.get("hr_mean")[0]), hrMean, "hr_mean");
    assertArrayEquals(ints(ref.get("rpeaks")), rpeaks);
    assertArrayEquals(ints(ref.get("extra_systoles")), extraSystoles);
    assertArrayEquals(ints(ref.get("qualities")), qualities);
  }

  private void compareQrs(double[] ecg, int start, double fullScale) throws Exception {
    Map<String, String[]> ref = reference("qrs", ecg, 200, start, 10, fullScale);
    ZYNecgQrsResults q = SealedResults.openQrs(SOLVER.runQRSDetection(ecg, 200, start, 10, fullScale));
    compareCommon(ref, q.error, q.hr, q.hr_mean, q.rpeaks, q.extra_systoles, q.qualities);
  }

  private void compareHrv(double[] ecg, int start, double fullScale) throws Exception {
    Map<String, String[]> ref = reference("hrv", ecg, 200, start, 10, fullScale);
    ZYNecgResults h = SealedResults.openHrv(SOLVER.runHRV(ecg, 200, start, 10, fullScale));
    compareCommon(ref, h.error, h.hr, h.hr_mean, h.rpeaks, h.extra_systoles, h.qualities);
    double[] statistics = {h.nn_rr, h.avnn, h.sdnn, h.sdann, h.sdnnidx, h.rmssd, h.pnn50,
        h.tot_pwr, h.ulf_pwr, h.vlf_pwr, h.lf_pwr, h.hf_pwr, h.lf_hf};
    double[] expected = doubles(ref.get("statistics"));
    for (int i = 0; i < statistics.length; i++) {
      assertSameBits(expected[i], statistics[i], "statistic " + i);
    }
  }

  @Test
  void bundledMitBihExcerptGivesTheSameResults() throws Exception {
    String csv = System.getProperty("zynecg.sample.csv");
    assumeTrue(csv != null && Files.exists(Path.of(csv)), "bundled excerpt not found");
    List<String> lines = Files.readAllLines(Path.of(csv));
    double[] ecg = lines.stream().skip(1).mapToDouble(Double::parseDouble).toArray();
    compareHrv(ecg, 0, 5.12);
    compareHrv(ecg, 37, 5.12);
    compareQrs(Arrays.copyOf(ecg, 119936), 0, 5.12);
    compareQrs(Arrays.copyOf(ecg, 30000), 12, 5.12);
  }

  @Test
  void generatedRecordingsGiveTheSameResults() throws Exception {
    compareHrv(Signals.ecg(60000, 64, 31), 0, Signals.FULL_SCALE_MV);
    compareHrv(Signals.ecg(36000, 75, 32), 174, Signals.FULL_SCALE_MV);  // error 8 path
    compareQrs(Signals.ecg(20000, 110, 33), 3, Signals.FULL_SCALE_MV);
    compareQrs(Signals.ecg(20000, 70, 34), 0, 1.0);                     // saturated
    compareQrs(Signals.ecg(2999, 70, 35), 0, Signals.FULL_SCALE_MV);    // rejected
  }
}
