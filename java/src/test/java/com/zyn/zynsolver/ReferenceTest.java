package com.zyn.zynsolver;

import static org.junit.jupiter.api.Assertions.assertArrayEquals;
import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assumptions.assumeTrue;

import java.io.IOException;
import java.nio.ByteBuffer;
import java.nio.ByteOrder;
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

  /** Runs the reference program at 200 Hz, 10 s windows, and reads its "field value..." lines. */
  private Map<String, String[]> reference(String mode, double[] ecg, int start, double fullScale)
      throws IOException, InterruptedException {
    String dump = System.getProperty("zynecg.dump");
    assumeTrue(dump != null && Files.isExecutable(Path.of(dump)), "reference program not built");
    Path raw = temp.resolve(mode + ".f64");  // little-endian float64
    ByteBuffer bytes = ByteBuffer.allocate(ecg.length * 8).order(ByteOrder.LITTLE_ENDIAN);
    bytes.asDoubleBuffer().put(ecg);
    Files.write(raw, bytes.array());
    Process p = new ProcessBuilder(dump, mode, raw.toString(), "200", Integer.toString(start), "10",
        Double.toString(fullScale))
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

  /** Doubles as their bit patterns, so that the comparison is bit for bit (ints convert exactly). */
  private static long[] bits(double... values) {
    return Arrays.stream(values).mapToLong(Double::doubleToLongBits).toArray();
  }

  private static double[] asDoubles(int[] values) {
    return Arrays.stream(values).asDoubleStream().toArray();
  }

  /** Runs one analysis through the JVM and compares every field the reference program prints. */
  private void compare(String mode, double[] ecg, int start, double fullScale) throws Exception {
    Map<String, String[]> ref = reference(mode, ecg, start, fullScale);
    Map<String, double[]> actual = new HashMap<>();
    if (mode.equals("hrv")) {
      ZYNecgResults h = SealedResults.openHrv(SOLVER.runHRV(ecg, 200, start, 10, fullScale));
      actual.putAll(Map.of("error", new double[] {h.error}, "hr", new double[] {h.hr},
          "hr_mean", new double[] {h.hr_mean}, "rpeaks", asDoubles(h.rpeaks),
          "extra_systoles", asDoubles(h.extra_systoles), "qualities", asDoubles(h.qualities),
          "statistics", new double[] {h.nn_rr, h.avnn, h.sdnn, h.sdann, h.sdnnidx, h.rmssd,
              h.pnn50, h.tot_pwr, h.ulf_pwr, h.vlf_pwr, h.lf_pwr, h.hf_pwr, h.lf_hf}));
    } else {
      ZYNecgQrsResults q = SealedResults.openQrs(SOLVER.runQRSDetection(ecg, 200, start, 10, fullScale));
      actual.putAll(Map.of("error", new double[] {q.error}, "hr", new double[] {q.hr},
          "hr_mean", new double[] {q.hr_mean}, "rpeaks", asDoubles(q.rpeaks),
          "extra_systoles", asDoubles(q.extra_systoles), "qualities", asDoubles(q.qualities)));
    }
    for (Map.Entry<String, double[]> field : actual.entrySet()) {
      double[] expected = Arrays.stream(ref.get(field.getKey())).mapToDouble(Double::parseDouble).toArray();
      assertArrayEquals(bits(expected), bits(field.getValue()),
          mode + " " + field.getKey() + ": " + Arrays.toString(expected) + " vs " + Arrays.toString(field.getValue()));
    }
  }

  @Test
  void bundledMitBihExcerptGivesTheSameResults() throws Exception {
    String csv = System.getProperty("zynecg.sample.csv");
    assumeTrue(csv != null && Files.exists(Path.of(csv)), "bundled excerpt not found");
    List<String> lines = Files.readAllLines(Path.of(csv));
    double[] ecg = lines.stream().skip(1).mapToDouble(Double::parseDouble).toArray();
    compare("hrv", ecg, 0, 5.12);
    compare("hrv", ecg, 37, 5.12);
    compare("qrs", Arrays.copyOf(ecg, 119936), 0, 5.12);
    compare("qrs", Arrays.copyOf(ecg, 30000), 12, 5.12);
  }

  @Test
  void generatedRecordingsGiveTheSameResults() throws Exception {
    compare("hrv", Signals.ecg(60000, 64, 31), 0, Signals.FULL_SCALE_MV);
    compare("hrv", Signals.ecg(36000, 75, 32), 174, Signals.FULL_SCALE_MV);  // error 8 path
    compare("qrs", Signals.ecg(20000, 110, 33), 3, Signals.FULL_SCALE_MV);
    compare("qrs", Signals.ecg(20000, 70, 34), 0, 1.0);                     // saturated
    compare("qrs", Signals.ecg(2999, 70, 35), 0, Signals.FULL_SCALE_MV);    // rejected
  }
}
