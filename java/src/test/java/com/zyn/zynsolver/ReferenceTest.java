package com.zyn.zynsolver;

import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assumptions.assumeTrue;

import com.zyn.zynsolver.Signals.Analysis;
import java.nio.ByteBuffer;
import java.nio.ByteOrder;
import java.nio.charset.StandardCharsets;
import java.nio.file.Files;
import java.nio.file.Path;
import java.util.Arrays;
import java.util.Map;
import java.util.stream.Collectors;
import java.util.stream.IntStream;
import org.junit.jupiter.api.Test;
import org.junit.jupiter.api.io.TempDir;

/**
 * The sealed Java results equal the C++ analyses field by field (doubles bit for bit), on the
 * bundled MIT-BIH excerpt and on generated recordings. The C++ side is printed by the reference
 * program named by the system property {@code zynecg.dump}.
 */
class ReferenceTest {
  @TempDir Path temp;

  /** Runs the reference program at 200 Hz, 10 s windows, and reads its "field value..." lines. */
  private Map<String, double[]> reference(String mode, double[] ecg, int start, double fullScale) throws Exception {
    String dump = System.getProperty("zynecg.dump");
    assumeTrue(dump != null && !dump.isEmpty() && Files.isRegularFile(Path.of(dump)) && Files.isExecutable(Path.of(dump)),
        "reference program not built");
    Path raw = temp.resolve(mode + ".f64");  // little-endian float64
    ByteBuffer bytes = ByteBuffer.allocate(ecg.length * 8).order(ByteOrder.LITTLE_ENDIAN);
    bytes.asDoubleBuffer().put(ecg);
    Files.write(raw, bytes.array());
    Process p = new ProcessBuilder(dump, mode, raw.toString(), "200", Integer.toString(start), "10",
        Double.toString(fullScale)).redirectErrorStream(true).start();
    String out = new String(p.getInputStream().readAllBytes(), StandardCharsets.UTF_8);
    assertEquals(0, p.waitFor(), out);
    return out.lines().map(l -> l.trim().split(" ")).collect(Collectors.toMap(f -> f[0],
        f -> Arrays.stream(f, 1, f.length).mapToDouble(Double::parseDouble).toArray()));
  }

  private static int[] ints(double[] values) {
    return Arrays.stream(values).mapToInt(v -> (int) v).toArray();
  }

  /** Compares one analysis through the JVM with the reference; the reserved arrays (not printed) must be all -1. */
  private void compare(String mode, double[] ecg, int start, double fullScale) throws Exception {
    Map<String, double[]> ref = reference(mode, ecg, start, fullScale);
    int[] unused = IntStream.generate(() -> -1).limit(ref.get("rpeaks").length).toArray();
    Analysis expected = new Analysis((int) ref.get("error")[0], ref.get("hr")[0], ref.get("hr_mean")[0],
        ref.getOrDefault("statistics", new double[0]), ints(ref.get("rpeaks")), ints(ref.get("extra_systoles")),
        unused, unused, ints(ref.get("qualities")));
    assertEquals(expected.fields(), Signals.analyse(mode, ecg, 200, start, fullScale).fields(), mode);
  }

  @Test
  void bundledMitBihExcerptGivesTheSameResults() throws Exception {
    String csv = System.getProperty("zynecg.sample.csv");
    assumeTrue(csv != null && Files.exists(Path.of(csv)), "bundled excerpt not found");
    double[] ecg = Signals.csv(Path.of(csv));
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
