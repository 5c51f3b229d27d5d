package com.zyn.zynsolver.spark;

import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assumptions.assumeTrue;

import com.fasterxml.jackson.databind.JsonNode;
import com.fasterxml.jackson.databind.ObjectMapper;
import java.io.IOException;
import java.nio.file.Files;
import java.nio.file.Path;
import java.util.ArrayList;
import java.util.List;

/** The command-line tool's JSON for a file, and the folders of the test recordings. */
final class ToolRuns {
  private ToolRuns() {}

  /** The MIT-BIH folder; the calling test is skipped when the recordings are absent. */
  static Path mitdb() {
    Path dir = Path.of(System.getProperty("zynecg.data.dir", "../../../shared/data"), "mitdb");
    assumeTrue(Files.exists(dir.resolve("100.hea")), "no MIT-BIH recordings at " + dir);
    return dir;
  }

  /** The 200 Hz CSV excerpt shipped with the project. */
  static Path sampleCsv() {
    return Path.of(System.getProperty("zynecg.sample.csv", "../../data/mitdb-100-excerpt-200hz.csv"));
  }

  /** The values of the 200 Hz CSV excerpt (one column under a header line). */
  static double[] sampleCsvValues() throws IOException {
    return Files.readAllLines(sampleCsv()).stream().skip(1).filter(l -> !l.isBlank())
        .mapToDouble(Double::parseDouble).toArray();
  }

  /** Runs {@code zynecg analyse FILE --json OUT ARGS...} and parses OUT. */
  static JsonNode toolJson(Path file, String... args) throws IOException, InterruptedException {
    String tool = System.getProperty("zynecg.tool", "");
    assumeTrue(!tool.isEmpty() && Files.isExecutable(Path.of(tool)), "no zynecg tool given (-Dzynecg.tool)");
    Path json = Files.createTempFile("zynecg", ".json");
    try {
      List<String> command = new ArrayList<>(List.of(tool, "analyse", file.toString(), "--json", json.toString()));
      command.addAll(List.of(args));
      Process p = new ProcessBuilder(command).redirectErrorStream(true).start();
      String printed = new String(p.getInputStream().readAllBytes());
      assertEquals(0, p.waitFor(), "zynecg failed: " + printed);
      return new ObjectMapper().readTree(json.toFile());
    } finally {
      Files.deleteIfExists(json);
    }
  }

  static long[] longs(JsonNode array) {
    long[] out = new long[array.size()];
    for (int i = 0; i < out.length; i++) {
      out[i] = array.get(i).asLong();
    }
    return out;
  }

  /** A JSON number, or NaN for null or absent. */
  static double number(JsonNode node) {
    return node == null || node.isNull() || node.isMissingNode() ? Double.NaN : node.asDouble();
  }
}
