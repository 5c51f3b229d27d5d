package com.zyn.zynsolver.spark;

import com.zyn.zynsolver.recording.Beats;
import com.zyn.zynsolver.recording.HrvStatistics;
import com.zyn.zynsolver.recording.RecordingResult;
import java.util.ArrayList;
import java.util.List;
import java.util.OptionalDouble;
import org.apache.spark.sql.Row;
import org.apache.spark.sql.RowFactory;
import org.apache.spark.sql.types.DataTypes;
import org.apache.spark.sql.types.StructField;
import org.apache.spark.sql.types.StructType;
import scala.jdk.javaapi.CollectionConverters;

/**
 * One result row per recording: its id and path, "ok" or "failed" with the reason, the heart
 * rates, beat counts by class, the share of good quality windows and every whole-recording HRV
 * statistic (seconds, fractions, s²; null where the analysis gave none); with beats requested, a
 * last column holding every beat (class, 200 Hz sample, file sample, seconds).
 */
final class ResultRows {
  static final String OK = "ok";
  static final String FAILED = "failed";
  static final String BEATS_COLUMN = "beats";

  static final StructType BEAT = new StructType(new StructField[] {
      DataTypes.createStructField("beatClass", DataTypes.StringType, false),
      DataTypes.createStructField("sample200Hz", DataTypes.LongType, false),
      DataTypes.createStructField("fileSample", DataTypes.LongType, false),
      DataTypes.createStructField("seconds", DataTypes.DoubleType, false)});

  private static final List<StructField> SUMMARY_FIELDS = summaryFields();

  private ResultRows() {}

  private static List<StructField> summaryFields() {
    List<StructField> f = new ArrayList<>();
    f.add(DataTypes.createStructField("id", DataTypes.StringType, true));
    f.add(DataTypes.createStructField("path", DataTypes.StringType, true));
    f.add(DataTypes.createStructField("status", DataTypes.StringType, false));
    f.add(DataTypes.createStructField("message", DataTypes.StringType, true));
    f.add(DataTypes.createStructField("format", DataTypes.StringType, true));
    f.add(DataTypes.createStructField("samplingRateHz", DataTypes.DoubleType, true));
    f.add(DataTypes.createStructField("durationSeconds", DataTypes.DoubleType, true));
    f.add(DataTypes.createStructField("hrBpm", DataTypes.DoubleType, true));
    f.add(DataTypes.createStructField("hrMeanBpm", DataTypes.DoubleType, true));
    f.add(DataTypes.createStructField("normalBeats", DataTypes.LongType, true));
    f.add(DataTypes.createStructField("extraSystoles", DataTypes.LongType, true));
    f.add(DataTypes.createStructField("qualityWindows", DataTypes.LongType, true));
    f.add(DataTypes.createStructField("goodWindowShare", DataTypes.DoubleType, true));
    for (String name : HrvStatistics.NAMES) {
      f.add(DataTypes.createStructField(name, DataTypes.DoubleType, true));
    }
    f.add(DataTypes.createStructField("warnings", DataTypes.StringType, true));
    return List.copyOf(f);
  }

  /** The schema of the result rows, with or without the column of beats. */
  static StructType schema(boolean withBeats) {
    List<StructField> f = new ArrayList<>(SUMMARY_FIELDS);
    if (withBeats) {
      f.add(DataTypes.createStructField(BEATS_COLUMN, DataTypes.createArrayType(BEAT, false), true));
    }
    return DataTypes.createStructType(f);
  }

  static Row success(String id, String path, RecordingResult r, boolean withBeats) {
    List<Object> v = new ArrayList<>(SUMMARY_FIELDS.size() + 1);
    v.add(id);
    v.add(path);
    v.add(OK);
    v.add(null);
    v.add(r.format());
    v.add(r.samplingRateHz());
    v.add(r.durationSeconds());
    v.add(boxed(r.heartRateBpm()));
    v.add(boxed(r.meanHeartRateBpm()));
    v.add((long) r.normalBeats().count());
    v.add((long) r.extraSystoles().count());
    v.add((long) r.qualityWindows().size());
    v.add(r.qualityWindows().isEmpty() ? null : r.goodWindowShare());
    double[] hrv = r.hrv().map(HrvStatistics::values).orElse(null);
    for (int i = 0; i < HrvStatistics.NAMES.size(); i++) {
      v.add(hrv == null || Double.isNaN(hrv[i]) ? null : hrv[i]);
    }
    v.add(r.warnings().isEmpty() ? null : String.join(" | ", r.warnings()));
    if (withBeats) {
      v.add(CollectionConverters.asScala(beats(r)));
    }
    return RowFactory.create(v.toArray());
  }

  static Row failure(String id, String path, String message, boolean withBeats) {
    Object[] v = new Object[SUMMARY_FIELDS.size() + (withBeats ? 1 : 0)];
    v[0] = id;
    v[1] = path;
    v[2] = FAILED;
    v[3] = message;
    return RowFactory.create(v);
  }

  private static Double boxed(OptionalDouble d) {
    return d.isPresent() ? d.getAsDouble() : null;
  }

  /** Both classes' beats in time order. */
  private static List<Row> beats(RecordingResult r) {
    Beats normal = r.normalBeats();
    Beats extra = r.extraSystoles();
    long[] n200 = normal.samples200Hz();
    long[] e200 = extra.samples200Hz();
    long[] nFile = normal.fileSamples();
    long[] eFile = extra.fileSamples();
    double[] nSec = normal.seconds();
    double[] eSec = extra.seconds();
    List<Row> rows = new ArrayList<>(n200.length + e200.length);
    int i = 0;
    int j = 0;
    while (i < n200.length || j < e200.length) {
      if (j >= e200.length || (i < n200.length && n200[i] <= e200[j])) {
        rows.add(RowFactory.create("normal", n200[i], nFile[i], nSec[i]));
        i++;
      } else {
        rows.add(RowFactory.create("extraSystole", e200[j], eFile[j], eSec[j]));
        j++;
      }
    }
    return rows;
  }
}
