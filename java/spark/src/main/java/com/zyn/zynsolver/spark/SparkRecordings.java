package com.zyn.zynsolver.spark;

import com.zyn.zynsolver.recording.RecordingException;
import com.zyn.zynsolver.recording.RecordingOptions;
import com.zyn.zynsolver.recording.RecordingResult;
import com.zyn.zynsolver.recording.WholeRecordingAnalysis;
import java.io.IOException;
import java.io.UncheckedIOException;
import java.util.Arrays;
import java.util.Iterator;
import java.util.List;
import org.apache.hadoop.conf.Configuration;
import org.apache.spark.api.java.function.MapPartitionsFunction;
import org.apache.spark.sql.Dataset;
import org.apache.spark.sql.Encoders;
import org.apache.spark.sql.Row;
import org.apache.spark.sql.SparkSession;
import org.apache.spark.sql.functions;
import org.apache.spark.sql.types.ArrayType;
import org.apache.spark.sql.types.DataType;
import org.apache.spark.sql.types.DataTypes;
import org.apache.spark.sql.types.StructType;

/**
 * Whole-recording ECG analysis of many recordings with Apache Spark. Each recording is analysed by
 * the native whole-recording library in an executor's task thread (one per core); the library
 * travels inside the jar, so workers need nothing installed. A recording that cannot be read or
 * analysed gives its row status "failed" and the reason; the job goes on.
 *
 * <pre>{@code
 * Dataset<Row> files = SparkRecordings.listRecordings(spark, "hdfs:///holter");
 * Dataset<Row> results = SparkRecordings.analyseFiles(files, RecordingOptions.defaults(), false);
 * results.write().parquet("hdfs:///holter-results");
 * }</pre>
 */
public final class SparkRecordings {
  private SparkRecordings() {}

  /**
   * The recordings under a folder (any file system Spark reads), found recursively: WFDB headers,
   * EDF/EDF+ and CSV files, one row each with the columns {@code path}, {@code modificationTime}
   * and {@code length} of Spark's {@code binaryFile} source (the content is read by the analysis).
   */
  public static Dataset<Row> listRecordings(SparkSession spark, String folder) {
    return spark.read().format("binaryFile")
        .option("recursiveFileLookup", "true")
        .option("pathGlobFilter", RecordingFiles.RECORDING_GLOB)
        .load(folder)
        .select("path", "modificationTime", "length");
  }

  /**
   * Analyses recordings given as files: a Dataset with a string column {@code path} (a WFDB
   * header, an EDF/EDF+ or CSV file) and, optionally, a binary column {@code content}, as Spark's
   * {@code binaryFile} source gives them. Rows whose path is no recording are left out. The
   * result has one row per recording, {@code id} being the record name.
   */
  public static Dataset<Row> analyseFiles(Dataset<Row> files, RecordingOptions options, boolean withBeats) {
    List<String> columns = Arrays.asList(files.columns());
    if (!columns.contains("path")) {
      throw new IllegalArgumentException("the files need a column named path; they have " + columns);
    }
    final boolean hasContent = columns.contains("content");
    Dataset<Row> input = hasContent ? files.select("path", "content") : files.select("path");
    input = input.filter(functions.lower(functions.col("path")).rlike("\\.(hea|edf|csv)$"));
    MapPartitionsFunction<Row, Row> analyse = rows -> {
      Configuration conf = new Configuration();
      return map(rows, row -> {
        String path = row.getString(0);
        byte[] content = hasContent && !row.isNullAt(1) ? (byte[]) row.get(1) : null;
        String id = RecordingFiles.recordId(path);
        try {
          return ResultRows.success(id, path, RecordingFiles.analyse(path, content, options, conf), withBeats);
        } catch (IOException e) {
          return ResultRows.failure(id, path, path + ": " + e.getMessage(), withBeats);
        } catch (RecordingException | IllegalArgumentException | UncheckedIOException e) {
          return ResultRows.failure(id, path, e.getMessage(), withBeats);
        }
      });
    };
    return input.mapPartitions(analyse, Encoders.row(ResultRows.schema(withBeats)));
  }

  /**
   * Analyses recordings given as samples: a Dataset with a string column {@code id}, a double
   * column {@code samplingRateHz} and a column {@code samples} of doubles or floats (in the units
   * of the options' full scale, millivolts by default). One result row per recording.
   */
  public static Dataset<Row> analyseSamples(Dataset<Row> recordings, RecordingOptions options, boolean withBeats) {
    StructType schema = recordings.schema();
    DataType element = ((ArrayType) schema.apply("samples").dataType()).elementType();
    if (!element.equals(DataTypes.DoubleType) && !element.equals(DataTypes.FloatType)) {
      throw new IllegalArgumentException("samples must be an array of doubles or floats, not " + element);
    }
    Dataset<Row> input = recordings.select(
        functions.col("id").cast(DataTypes.StringType), functions.col("samplingRateHz").cast(DataTypes.DoubleType),
        functions.col("samples").cast(DataTypes.createArrayType(DataTypes.DoubleType)));
    MapPartitionsFunction<Row, Row> analyse = rows -> map(rows, row -> {
      String id = row.isNullAt(0) ? null : row.getString(0);
      try {
        if (row.isNullAt(1) || row.isNullAt(2)) {
          throw new IllegalArgumentException(id + ": no sampling rate or no samples");
        }
        RecordingResult r = WholeRecordingAnalysis.analyse(doubles(row.getList(2)), row.getDouble(1), options);
        return ResultRows.success(id, null, r, withBeats);
      } catch (RecordingException | IllegalArgumentException e) {
        return ResultRows.failure(id, null, e.getMessage(), withBeats);
      }
    });
    return input.mapPartitions(analyse, Encoders.row(ResultRows.schema(withBeats)));
  }

  /**
   * One row per beat of the analysed recordings: {@code id}, {@code path}, {@code beatClass}
   * ("normal" or "extraSystole"), {@code sample200Hz}, {@code fileSample} and {@code seconds}.
   * Needs results made with beats.
   */
  public static Dataset<Row> beatRows(Dataset<Row> results) {
    return results.select(functions.col("id"), functions.col("path"),
            functions.explode(functions.col(ResultRows.BEATS_COLUMN)).as("beat"))
        .select("id", "path", "beat.*");
  }

  /** The result rows without their column of beats (for CSV, which holds no arrays). */
  public static Dataset<Row> summaries(Dataset<Row> results) {
    return Arrays.asList(results.columns()).contains(ResultRows.BEATS_COLUMN)
        ? results.drop(ResultRows.BEATS_COLUMN) : results;
  }

  private static double[] doubles(List<Double> values) {
    double[] out = new double[values.size()];
    for (int i = 0; i < out.length; i++) {
      Double v = values.get(i);
      out[i] = v == null ? Double.NaN : v;
    }
    return out;
  }

  private interface RowFunction {
    Row apply(Row row);
  }

  /** Maps a partition's rows one by one, lazily, so that a partition is never held whole. */
  private static Iterator<Row> map(Iterator<Row> rows, RowFunction f) {
    return new Iterator<>() {
      @Override
      public boolean hasNext() {
        return rows.hasNext();
      }

      @Override
      public Row next() {
        return f.apply(rows.next());
      }
    };
  }
}
