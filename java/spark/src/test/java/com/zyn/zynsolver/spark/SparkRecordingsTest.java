package com.zyn.zynsolver.spark;

import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertNull;
import static org.junit.jupiter.api.Assertions.assertTrue;

import com.fasterxml.jackson.databind.JsonNode;
import com.zyn.zynsolver.recording.HrvStatistics;
import com.zyn.zynsolver.recording.RecordingOptions;
import java.nio.file.Files;
import java.nio.file.Path;
import java.util.HashMap;
import java.util.List;
import java.util.Map;
import org.apache.spark.sql.Dataset;
import org.apache.spark.sql.Row;
import org.apache.spark.sql.RowFactory;
import org.apache.spark.sql.SparkSession;
import org.apache.spark.sql.types.DataTypes;
import org.apache.spark.sql.types.StructType;
import org.junit.jupiter.api.AfterAll;
import org.junit.jupiter.api.BeforeAll;
import org.junit.jupiter.api.Test;
import org.junit.jupiter.api.io.TempDir;

/** The Spark job in local mode: results equal to the tool's, bad files as rows, committed outputs. */
class SparkRecordingsTest {
  private static final List<String> RECORDS = List.of("100", "105", "119");
  private static SparkSession spark;

  @TempDir Path tmp;

  @BeforeAll
  static void startSpark() {
    spark = SparkSession.builder().master("local[2]").appName("zynsolver-spark test")
        .config("spark.ui.enabled", "false").config("spark.sql.shuffle.partitions", "4").getOrCreate();
  }

  @AfterAll
  static void stopSpark() {
    spark.stop();
  }

  @Test
  void aFolderWithABrokenFileGivesOneRowPerRecordingEqualToTheTool() throws Exception {
    Path mitdb = ToolRuns.mitdb();
    Path input = Files.createDirectories(tmp.resolve("input/nested folder"));
    for (String r : RECORDS) {
      for (String ext : List.of(".hea", ".dat", ".atr")) {
        Files.copy(mitdb.resolve(r + ext), input.resolve(r + ext));
      }
    }
    Files.write(input.resolve("broken.edf"), "0       truncated EDF header".getBytes());
    Files.write(input.resolve("notes.txt"), "not a recording".getBytes());

    Path output = tmp.resolve("output");
    long[] counts = AnalyseRecordings.run(spark, tmp.resolve("input").toString(), output.toString(),
        RecordingOptions.defaults(), true);
    assertEquals(RECORDS.size() + 1, counts[0]);
    assertEquals(1, counts[1]);
    for (String out : List.of("results.parquet", "results.csv", "beats.parquet", "beats.csv")) {
      assertTrue(Files.exists(output.resolve(out).resolve("_SUCCESS")), out + " not committed");
    }

    Map<String, Row> rows = new HashMap<>();
    for (Row row : spark.read().parquet(output.resolve("results.parquet").toString()).collectAsList()) {
      rows.put(row.getAs("id"), row);
    }
    Row broken = rows.get("broken");
    assertEquals("failed", broken.getAs("status"));
    assertTrue(((String) broken.getAs("message")).contains("broken.edf"), (String) broken.getAs("message"));
    assertNull(broken.getAs("hrBpm"));

    long beats = 0;
    for (String r : RECORDS) {
      Row row = rows.get(r);
      assertEquals("ok", row.getAs("status"), r + ": " + row.getAs("message"));
      JsonNode summary = ToolRuns.toolJson(mitdb.resolve(r + ".hea")).get("summary");
      assertEquals(summary.get("hrBpm").asDouble(), (double) row.getAs("hrBpm"), r);
      assertEquals(summary.get("hrMeanBpm").asDouble(), (double) row.getAs("hrMeanBpm"), r);
      assertEquals(summary.get("normalBeats").asLong(), (long) row.getAs("normalBeats"), r);
      assertEquals(summary.get("extraSystoles").asLong(), (long) row.getAs("extraSystoles"), r);
      assertEquals(summary.get("goodQualityWindows").asDouble() / summary.get("qualityWindows").asDouble(),
          (double) row.getAs("goodWindowShare"), 1e-12, r);
      for (String name : HrvStatistics.NAMES) {
        assertEquals(ToolRuns.number(summary.get("hrv").path(name).path("value")),
            row.isNullAt(row.fieldIndex(name)) ? Double.NaN : (double) row.getAs(name), r + " " + name);
      }
      beats += (long) row.getAs("normalBeats") + (long) row.getAs("extraSystoles");
    }
    assertEquals(beats, spark.read().parquet(output.resolve("beats.parquet").toString()).count());
    long csvRows = spark.read().option("header", "true").csv(output.resolve("results.csv").toString()).count();
    assertEquals(RECORDS.size() + 1, csvRows);
  }

  @Test
  void samplesGiveOneRowEachAndUnusableOnesFailAlone() throws Exception {
    double[] csv = ToolRuns.sampleCsvValues();
    StructType schema = new StructType()
        .add("id", DataTypes.StringType)
        .add("samplingRateHz", DataTypes.DoubleType)
        .add("samples", DataTypes.createArrayType(DataTypes.DoubleType));
    List<Row> input = List.of(
        RowFactory.create("excerpt", 200.0, toList(csv)),
        RowFactory.create("short", 200.0, toList(new double[100])),
        RowFactory.create("no-rate", null, toList(csv)));
    Dataset<Row> results = SparkRecordings.analyseSamples(spark.createDataFrame(input, schema),
        RecordingOptions.defaults(), false);
    Map<String, Row> rows = new HashMap<>();
    results.collectAsList().forEach(r -> rows.put(r.getAs("id"), r));
    assertEquals("ok", rows.get("excerpt").getAs("status"));
    assertTrue((long) rows.get("excerpt").getAs("normalBeats") > 0);
    assertEquals("failed", rows.get("short").getAs("status"));
    assertEquals("failed", rows.get("no-rate").getAs("status"));
  }

  private static List<Double> toList(double[] values) {
    return java.util.Arrays.stream(values).boxed().toList();
  }
}
