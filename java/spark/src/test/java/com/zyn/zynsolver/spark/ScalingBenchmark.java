package com.zyn.zynsolver.spark;

import com.zyn.zynsolver.recording.RecordingOptions;
import com.zyn.zynsolver.recording.WholeRecordingAnalysis;
import com.sun.management.OperatingSystemMXBean;
import java.lang.management.ManagementFactory;
import java.nio.file.Files;
import java.nio.file.Path;
import java.util.ArrayList;
import java.util.List;
import java.util.concurrent.ExecutorService;
import java.util.concurrent.Executors;
import java.util.concurrent.Future;
import java.util.stream.Stream;
import org.apache.spark.sql.Dataset;
import org.apache.spark.sql.Encoders;
import org.apache.spark.sql.Row;
import org.apache.spark.sql.SparkSession;

/**
 * Recordings per second over the WFDB records of a folder (each analysed whole, default options),
 * by a plain Java loop on one and on two threads and by Spark in local mode with one and two
 * cores, first over the records once, then repeated to about {@code target} recordings. Wall
 * times, and the CPU time of the whole process over the same span (all threads, Spark's own
 * included); Spark's session start is reported apart and left out of its rates.
 *
 * <pre>ScalingBenchmark FOLDER [TARGET_RECORDINGS=100]</pre>
 */
public final class ScalingBenchmark {
  private ScalingBenchmark() {}

  public static void main(String[] args) throws Exception {
    Path folder = Path.of(args[0]);
    int target = args.length > 1 ? Integer.parseInt(args[1]) : 100;
    List<String> records;
    try (Stream<Path> files = Files.list(folder)) {
      records = files.filter(p -> p.toString().endsWith(".hea")).map(Path::toString).sorted().toList();
    }
    List<String> repeated = new ArrayList<>();
    while (repeated.size() < target) {
      repeated.add(records.get(repeated.size() % records.size()));
    }
    RecordingOptions options = RecordingOptions.defaults();
    WholeRecordingAnalysis.analyse(Path.of(records.get(0)), options);  // loads the library, warms up

    System.out.printf("%-28s %12s %10s %10s %14s %16s%n", "run", "recordings", "wall s", "cpu s", "recordings/s",
        "cpu s/recording");
    for (List<String> set : List.of(records, repeated)) {
      for (int threads : new int[] {1, 2}) {
        long before = cpuNanos();
        double wall = javaLoop(set, options, threads);
        report("java loop, " + threads + (threads == 1 ? " thread" : " threads"), set.size(), wall,
            seconds(before, cpuNanos()));
      }
    }
    for (int cores : new int[] {1, 2}) {
      long start = System.nanoTime();
      long cpu = cpuNanos();
      SparkSession spark = SparkSession.builder().master("local[" + cores + "]").appName("scaling")
          .config("spark.ui.enabled", "false").getOrCreate();
      spark.range(1).count();
      report("spark local[" + cores + "] start", 0, seconds(start), seconds(cpu, cpuNanos()));
      for (List<String> set : List.of(records, repeated)) {
        sparkRun(spark, set, options);  // the first job of a size pays for class loading
        long before = cpuNanos();
        double wall = sparkRun(spark, set, options);
        report("spark local[" + cores + "]", set.size(), wall, seconds(before, cpuNanos()));
      }
      spark.stop();
    }
  }

  private static double javaLoop(List<String> paths, RecordingOptions options, int threads) throws Exception {
    long start = System.nanoTime();
    ExecutorService pool = Executors.newFixedThreadPool(threads);
    try {
      List<Future<?>> done = new ArrayList<>();
      for (String p : paths) {
        done.add(pool.submit(() -> WholeRecordingAnalysis.analyse(Path.of(p), options)));
      }
      for (Future<?> f : done) {
        f.get();
      }
    } finally {
      pool.shutdown();
    }
    return seconds(start);
  }

  private static double sparkRun(SparkSession spark, List<String> paths, RecordingOptions options) {
    long start = System.nanoTime();
    Dataset<Row> files = spark.createDataset(paths, Encoders.STRING()).toDF("path");
    int partitions = Math.min(paths.size(), 4 * spark.sparkContext().defaultParallelism());
    Dataset<Row> results = SparkRecordings.analyseFiles(files.repartition(partitions), options, false);
    results.write().format("noop").mode("overwrite").save();
    return seconds(start);
  }

  private static long cpuNanos() {
    return ((OperatingSystemMXBean) ManagementFactory.getOperatingSystemMXBean()).getProcessCpuTime();
  }

  private static double seconds(long fromNanos, long toNanos) {
    return (toNanos - fromNanos) / 1e9;
  }

  private static double seconds(long startNanos) {
    return (System.nanoTime() - startNanos) / 1e9;
  }

  private static void report(String run, int recordings, double seconds, double cpuSeconds) {
    System.out.printf("%-28s %12d %10.2f %10.2f %14s %16s%n", run, recordings, seconds, cpuSeconds,
        recordings == 0 ? "" : String.format("%.2f", recordings / seconds),
        recordings == 0 ? "" : String.format("%.3f", cpuSeconds / recordings));
  }
}
