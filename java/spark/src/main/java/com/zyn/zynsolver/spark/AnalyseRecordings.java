package com.zyn.zynsolver.spark;

import com.zyn.zynsolver.recording.AnalysisMode;
import com.zyn.zynsolver.recording.RecordingOptions;
import java.util.Locale;
import org.apache.spark.sql.Dataset;
import org.apache.spark.sql.Row;
import org.apache.spark.sql.SaveMode;
import org.apache.spark.sql.SparkSession;
import org.apache.spark.storage.StorageLevel;

/**
 * Analyses every recording under INPUT (WFDB, EDF/EDF+, CSV; subfolders included) and writes one
 * row per recording under OUTPUT, as Parquet ({@code OUTPUT/results.parquet}) and CSV ({@code
 * OUTPUT/results.csv}); with {@code --beats}, one row per beat as well ({@code OUTPUT/beats.*}).
 * Every output is written through Spark's output commit protocol: a folder either holds its
 * {@code _SUCCESS} marker and every part, or the job failed.
 *
 * <pre>
 * AnalyseRecordings INPUT OUTPUT [--master URL] [--mode qrs|hrv|both] [--window S] [--beats]
 * </pre>
 */
public final class AnalyseRecordings {
  private AnalyseRecordings() {}

  public static void main(String[] args) {
    String input = null;
    String output = null;
    String master = null;
    boolean withBeats = false;
    RecordingOptions options = RecordingOptions.defaults();
    for (int i = 0; i < args.length; i++) {
      switch (args[i]) {
        case "--master" -> master = value(args, ++i);
        case "--mode" -> options = options.withMode(AnalysisMode.valueOf(value(args, ++i).toUpperCase(Locale.ROOT)));
        case "--window" -> options = options.withWindowSeconds(Integer.parseInt(value(args, ++i)));
        case "--beats" -> withBeats = true;
        default -> {
          if (args[i].startsWith("--") || output != null) {
            usage("unknown argument " + args[i]);
          } else if (input == null) {
            input = args[i];
          } else {
            output = args[i];
          }
        }
      }
    }
    if (output == null) {
      usage("INPUT and OUTPUT are required");
    }
    SparkSession.Builder builder = SparkSession.builder().appName("zynecg analyse " + input);
    if (master != null) {
      builder.master(master);
    }
    SparkSession spark = builder.getOrCreate();
    try {
      long[] counts = run(spark, input, output, options, withBeats);
      System.out.printf("analysed %d recordings (%d failed); results under %s%n", counts[0], counts[1], output);
    } finally {
      spark.stop();
    }
  }

  /** Analyses and writes; returns the number of recordings and of failed ones. */
  static long[] run(SparkSession spark, String input, String output, RecordingOptions options, boolean withBeats) {
    Dataset<Row> files = SparkRecordings.listRecordings(spark, input);
    long recordings = files.count();
    // One task per recording up to a few per core: recordings differ in length, so small tasks
    // keep every core busy to the end.
    int partitions = (int) Math.max(1, Math.min(recordings, 4L * spark.sparkContext().defaultParallelism()));
    Dataset<Row> results = SparkRecordings.analyseFiles(files.repartition(partitions), options, withBeats)
        .persist(StorageLevel.MEMORY_AND_DISK());
    try {
      results.write().mode(SaveMode.Overwrite).parquet(output + "/results.parquet");
      SparkRecordings.summaries(results).coalesce(1).write().mode(SaveMode.Overwrite).option("header", "true")
          .csv(output + "/results.csv");
      if (withBeats) {
        Dataset<Row> beats = SparkRecordings.beatRows(results);
        beats.write().mode(SaveMode.Overwrite).parquet(output + "/beats.parquet");
        beats.write().mode(SaveMode.Overwrite).option("header", "true").csv(output + "/beats.csv");
      }
      long failed = results.filter(results.col("status").equalTo(ResultRows.FAILED)).count();
      return new long[] {recordings, failed};
    } finally {
      results.unpersist();
    }
  }

  private static String value(String[] args, int i) {
    if (i >= args.length) {
      usage(args[i - 1] + " needs a value");
    }
    return args[i];
  }

  private static void usage(String problem) {
    System.err.println("AnalyseRecordings: " + problem);
    System.err.println("usage: AnalyseRecordings INPUT OUTPUT [--master URL] [--mode qrs|hrv|both] [--window S] [--beats]");
    System.exit(2);
  }
}
