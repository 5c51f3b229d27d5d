package com.zyn.zynsolver.spark;

import static org.junit.jupiter.api.Assertions.assertArrayEquals;
import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertThrows;
import static org.junit.jupiter.api.Assertions.assertTrue;

import com.fasterxml.jackson.databind.JsonNode;
import com.zyn.zynsolver.recording.AnalysisMode;
import com.zyn.zynsolver.recording.Beats;
import com.zyn.zynsolver.recording.HrvStatistics;
import com.zyn.zynsolver.recording.QualityWindow;
import com.zyn.zynsolver.recording.RecordingException;
import com.zyn.zynsolver.recording.RecordingOptions;
import com.zyn.zynsolver.recording.RecordingResult;
import com.zyn.zynsolver.recording.SegmentSummary;
import com.zyn.zynsolver.recording.Stretch;
import com.zyn.zynsolver.recording.WholeRecordingAnalysis;
import java.nio.file.Files;
import java.nio.file.Path;
import java.util.ArrayList;
import java.util.List;
import java.util.Map;
import org.junit.jupiter.api.Test;
import org.junit.jupiter.api.io.TempDir;
import org.junit.jupiter.params.ParameterizedTest;
import org.junit.jupiter.params.provider.CsvSource;

/** The Java whole-recording API against the command-line tool's JSON, and its refusals. */
class WholeRecordingAnalysisTest {
  @TempDir Path tmp;

  @ParameterizedTest(name = "record {0} {1}")
  @CsvSource(delimiter = '|', value = {
      "100 | ",
      "119 | --mode qrs --window 30 --start 60",
      "208 | --mode hrv"})
  void recordsEqualTheToolsJson(String record, String args) throws Exception {
    Path header = ToolRuns.mitdb().resolve(record + ".hea");
    String[] toolArgs = args == null ? new String[0] : args.trim().split(" +");
    RecordingResult r = WholeRecordingAnalysis.analyse(header, options(toolArgs));
    assertMatches(ToolRuns.toolJson(header, toolArgs), r);
  }

  @Test
  void csvFileEqualsTheToolsJsonAndItsSamplesGiveTheSameBeats() throws Exception {
    Path csv = ToolRuns.sampleCsv();
    RecordingResult fromFile =
        WholeRecordingAnalysis.analyse(csv, RecordingOptions.defaults().withSamplingRateHz(200.0));
    assertMatches(ToolRuns.toolJson(csv, "--fs", "200"), fromFile);

    double[] samples = ToolRuns.sampleCsvValues();
    RecordingResult fromSamples = WholeRecordingAnalysis.analyse(samples, 200.0, RecordingOptions.defaults());
    assertArrayEquals(fromFile.normalBeats().samples200Hz(), fromSamples.normalBeats().samples200Hz());
    assertArrayEquals(fromFile.extraSystoles().samples200Hz(), fromSamples.extraSystoles().samples200Hz());
    assertEquals(fromFile.hrv().map(HrvStatistics::sdnn), fromSamples.hrv().map(HrvStatistics::sdnn));

    // The same recording at 360 Hz as floats: the beats land on the same 200 Hz positions
    // within a sample (resampling moves them at most that far).
    float[] at360 = new float[samples.length * 9 / 5];
    for (int i = 0; i < at360.length; i++) {
      double t = i * 200.0 / 360.0;
      int k = Math.min((int) t, samples.length - 2);
      at360[i] = (float) (samples[k] + (t - k) * (samples[k + 1] - samples[k]));
    }
    RecordingResult fromFloats = WholeRecordingAnalysis.analyse(at360, 360.0, RecordingOptions.defaults());
    assertEquals(360.0, fromFloats.samplingRateHz());
    long[] expected = fromFile.normalBeats().samples200Hz();
    long[] got = fromFloats.normalBeats().samples200Hz();
    assertEquals(expected.length, got.length, 2);
    assertTrue(nearbyShare(expected, got, 2) > 0.97, "beats of the 360 Hz floats far from the 200 Hz ones");
  }

  @Test
  void bytesOfARecordEqualItsFileAndMessagesNameTheGivenFile() throws Exception {
    Path dir = ToolRuns.mitdb();
    RecordingResult fromFile = WholeRecordingAnalysis.analyse(dir.resolve("100.hea"), RecordingOptions.defaults());
    RecordingResult fromBytes = WholeRecordingAnalysis.analyse(
        Map.of("100.hea", Files.readAllBytes(dir.resolve("100.hea")),
            "100.dat", Files.readAllBytes(dir.resolve("100.dat"))),
        "100.hea", RecordingOptions.defaults());
    assertEquals("100.hea", fromBytes.source());
    assertArrayEquals(fromFile.normalBeats().fileSamples(), fromBytes.normalBeats().fileSamples());
    assertEquals(fromFile.hrv().get().sdann(), fromBytes.hrv().get().sdann());

    RecordingException missingSignals = assertThrows(RecordingException.class, () ->
        WholeRecordingAnalysis.analyse(Map.of("100.hea", Files.readAllBytes(dir.resolve("100.hea"))), "100.hea",
            RecordingOptions.defaults()));
    assertTrue(missingSignals.getMessage().contains("100"), missingSignals.getMessage());
    assertTrue(!missingSignals.getMessage().contains("zynecg-recording"), missingSignals.getMessage());
  }

  @Test
  void badFilesAndOptionsAreRefusedWithTheToolsMessages() throws Exception {
    Path missing = tmp.resolve("absent.edf");
    RecordingException e = assertThrows(RecordingException.class,
        () -> WholeRecordingAnalysis.analyse(missing, RecordingOptions.defaults()));
    assertTrue(e.getMessage().startsWith(missing.toString()), e.getMessage());

    Path garbage = Files.write(tmp.resolve("garbage.edf"), "not an EDF file at all".getBytes());
    assertThrows(RecordingException.class, () -> WholeRecordingAnalysis.analyse(garbage, RecordingOptions.defaults()));
    Path words = Files.write(tmp.resolve("words.csv"), "ecg\nlow\nhigh\n".getBytes());
    assertThrows(RecordingException.class, () -> WholeRecordingAnalysis.analyse(words, RecordingOptions.defaults()));
    assertThrows(RecordingException.class, () -> WholeRecordingAnalysis.analyse(
        new byte[] {1, 2, 3}, "tiny.edf", RecordingOptions.defaults()));

    // Samples: too short to analyse, a rate of zero, a NaN sample.
    assertThrows(RecordingException.class,
        () -> WholeRecordingAnalysis.analyse(new double[200], 200.0, RecordingOptions.defaults()));
    assertThrows(RuntimeException.class,
        () -> WholeRecordingAnalysis.analyse(new double[6000], 0.0, RecordingOptions.defaults()));
    // Samples that are not numbers: the stretches around them are analysed and the rest
    // reported; a recording without 15 s free of them is refused.
    double[] withNan = ToolRuns.sampleCsvValues();
    withNan[100] = Double.NaN;
    RecordingResult gap = WholeRecordingAnalysis.analyse(withNan, 200.0, RecordingOptions.defaults());
    assertTrue(gap.normalBeats().count() > 600, gap.toString());
    assertTrue(gap.warnings().stream().anyMatch(w -> w.contains("NaN")), gap.warnings().toString());
    double[] allNan = new double[6000];
    java.util.Arrays.fill(allNan, Double.NaN);
    RecordingException nan = assertThrows(RecordingException.class,
        () -> WholeRecordingAnalysis.analyse(allNan, 200.0, RecordingOptions.defaults()));
    assertTrue(nan.getMessage().startsWith("samples: "), nan.getMessage());
    assertThrows(IllegalArgumentException.class, () -> WholeRecordingAnalysis.analyse(new double[6000], 200.0,
        RecordingOptions.defaults().withStartSeconds(-1)));
    assertThrows(IllegalArgumentException.class, () -> WholeRecordingAnalysis.analyse(
        Map.of("../up.csv", new byte[1]), "../up.csv", RecordingOptions.defaults()));
  }

  /** The options the tool's arguments give. */
  private static RecordingOptions options(String... args) {
    RecordingOptions o = RecordingOptions.defaults();
    for (int i = 0; i + 1 < args.length; i += 2) {
      switch (args[i]) {
        case "--mode" -> o = o.withMode(AnalysisMode.valueOf(args[i + 1].toUpperCase()));
        case "--window" -> o = o.withWindowSeconds(Integer.parseInt(args[i + 1]));
        case "--start" -> o = o.withStartSeconds(Integer.parseInt(args[i + 1]));
        default -> throw new IllegalArgumentException(args[i]);
      }
    }
    return o;
  }

  /** Every number the tool's JSON and the Java result share. */
  static void assertMatches(JsonNode json, RecordingResult r) {
    JsonNode summary = json.get("summary");
    assertEquals(summary.get("error").asInt(), r.error());
    List<Integer> stretchErrors = new ArrayList<>();
    json.get("stretches").forEach(s -> stretchErrors.add(s.get("error").asInt()));
    assertEquals(stretchErrors, r.stretches().stream().map(Stretch::error).toList());
    JsonNode segments = json.get("fiveMinuteSegments");
    assertEquals(segments.size(), r.segments().size());
    for (int i = 0; i < segments.size(); i++) {
      JsonNode row = segments.get(i);
      SegmentSummary s = r.segments().get(i);
      assertEquals(row.get("startSeconds").asDouble(), s.startSeconds());
      assertEquals(ToolRuns.number(row.get("meanHrBpm")), s.meanHeartRateBpm());
      assertEquals(ToolRuns.number(row.get("sdnn")), s.sdnn());
      assertEquals(ToolRuns.number(row.get("rmssd")), s.rmssd());
      assertEquals(row.get("nnIntervals").asLong(), s.nnIntervals());
      assertEquals(row.get("normalBeats").asLong(), s.normalBeats());
      assertEquals(row.get("extraSystoles").asLong(), s.extraSystoles());
    }
    assertEquals(ToolRuns.number(summary.get("hrBpm")), r.heartRateBpm().orElse(Double.NaN));
    assertEquals(ToolRuns.number(summary.get("hrMeanBpm")), r.meanHeartRateBpm().orElse(Double.NaN));
    assertBeats(json.get("beats").get("normal"), r.normalBeats());
    assertBeats(json.get("beats").get("extraSystoles"), r.extraSystoles());
    List<Integer> codes = new ArrayList<>();
    json.get("qualityWindows").forEach(w -> codes.add(w.get("code").asInt()));
    assertEquals(codes, r.qualityWindows().stream().map(QualityWindow::code).toList());
    JsonNode hrv = summary.get("hrv");
    for (String name : HrvStatistics.NAMES) {
      double expected = ToolRuns.number(hrv.path(name).path("value"));
      assertEquals(expected, r.hrv().map(h -> h.value(name)).orElse(Double.NaN), name);
    }
    List<String> warnings = new ArrayList<>();
    summary.get("warnings").forEach(w -> warnings.add(w.asText()));
    assertEquals(warnings, r.warnings());
  }

  private static void assertBeats(JsonNode json, Beats beats) {
    assertArrayEquals(ToolRuns.longs(json.get("samples200Hz")), beats.samples200Hz());
    assertArrayEquals(ToolRuns.longs(json.get("fileSamples")), beats.fileSamples());
    double[] seconds = beats.seconds();
    for (int i = 0; i < seconds.length; i++) {
      assertEquals(json.get("seconds").get(i).asDouble(), seconds[i]);
    }
  }

  /** Share of {@code expected} positions with one of {@code got} within {@code tolerance}. */
  private static double nearbyShare(long[] expected, long[] got, long tolerance) {
    int matched = 0;
    int j = 0;
    for (long e : expected) {
      while (j < got.length && got[j] < e - tolerance) {
        j++;
      }
      matched += j < got.length && got[j] <= e + tolerance ? 1 : 0;
    }
    return (double) matched / expected.length;
  }
}
