package com.zyn.zynsolver.spark;

import com.zyn.zynsolver.recording.RecordingOptions;
import com.zyn.zynsolver.recording.RecordingResult;
import com.zyn.zynsolver.recording.WholeRecordingAnalysis;
import java.io.IOException;
import java.io.InputStream;
import java.net.URI;
import java.nio.file.Paths;
import java.util.HashMap;
import java.util.Locale;
import java.util.Map;
import org.apache.hadoop.conf.Configuration;
import org.apache.hadoop.fs.FileStatus;
import org.apache.hadoop.fs.FileSystem;
import org.apache.hadoop.fs.Path;

/**
 * Recordings as files wherever the cluster keeps them (local disks, HDFS, object stores): which
 * files are recordings, and how an executor analyses one. A local file is analysed where it lies;
 * elsewhere the recording's files (a WFDB header with the signal files of the same record name, or
 * the one EDF or CSV file) are read through Hadoop's file system and analysed from memory.
 */
final class RecordingFiles {
  /** Names of files that are recordings: WFDB headers, EDF/EDF+ and CSV files. */
  static final String RECORDING_GLOB = "*.{hea,HEA,edf,EDF,csv,CSV}";

  private RecordingFiles() {}

  static boolean isRecording(String path) {
    String p = path.toLowerCase(Locale.ROOT);
    return p.endsWith(".hea") || p.endsWith(".edf") || p.endsWith(".csv");
  }

  /** The record name: the file name without its extension. */
  static String recordId(String path) {
    String name = new Path(path).getName();
    int dot = name.lastIndexOf('.');
    return dot > 0 ? name.substring(0, dot) : name;
  }

  /**
   * Analyses the recording at {@code path} (a URI as Spark's file sources give it); {@code
   * content}, when not null, is the file's content already read.
   */
  static RecordingResult analyse(String path, byte[] content, RecordingOptions options, Configuration conf)
      throws IOException {
    // Hadoop's Path takes the names as Spark prints them (spaces unescaped).
    Path file = new Path(path);
    URI uri = file.toUri();
    if (uri.getScheme() == null || "file".equals(uri.getScheme())) {
      return WholeRecordingAnalysis.analyse(Paths.get(uri.getPath()), options);
    }
    FileSystem fs = file.getFileSystem(conf);
    Map<String, byte[]> files = new HashMap<>();
    if (path.toLowerCase(Locale.ROOT).endsWith(".hea")) {
      // A WFDB record: its header and every file of the same record name beside it.
      String stem = recordId(path);
      FileStatus[] siblings = fs.globStatus(new Path(file.getParent(), globEscape(stem) + ".*"));
      for (FileStatus s : siblings == null ? new FileStatus[0] : siblings) {
        files.put(s.getPath().getName(), read(fs, s.getPath()));
      }
    }
    files.put(file.getName(), content != null ? content : read(fs, file));
    return WholeRecordingAnalysis.analyse(files, file.getName(), options);
  }

  private static byte[] read(FileSystem fs, Path p) throws IOException {
    try (InputStream in = fs.open(p)) {
      return in.readAllBytes();
    }
  }

  private static String globEscape(String name) {
    return name.replaceAll("([\\\\\\[\\]{}*?])", "\\\\$1");
  }
}
