package com.zyn.zynsolver;

import java.nio.file.Path;
import java.util.Arrays;
import java.util.concurrent.Callable;

/**
 * Times runHRV and runQRSDetection through the JVM, sealing and opening included, on a recording
 * of up to ten minutes at 200 Hz: median and 90th percentile over 200 warm calls. Arguments: a
 * one-column CSV file and the recorder's full scale in its units.
 */
public final class JniBenchmark {
  private static final int WARM_UP = 50;
  private static final int CALLS = 200;

  private JniBenchmark() {}

  static void time(String name, Callable<?> call) throws Exception {
    double[] ms = new double[CALLS];
    for (int i = -WARM_UP; i < CALLS; i++) {
      long t0 = System.nanoTime();
      call.call();
      if (i >= 0) {
        ms[i] = (System.nanoTime() - t0) / 1e6;
      }
    }
    Arrays.sort(ms);
    System.out.printf("%-16s median %.3f ms, p90 %.3f ms over %d calls%n", name, ms[CALLS / 2],
        ms[CALLS * 9 / 10], CALLS);
  }

  public static void main(String[] args) throws Exception {
    double[] ecg = Signals.csv(Path.of(args[0]));
    double fullScale = Double.parseDouble(args[1]);
    System.out.println("recording " + args[0] + ", " + ecg.length + " samples");
    double[] qrsInput = Arrays.copyOf(ecg, Math.min(ecg.length, 119936));
    time("runHRV", () -> Signals.analyse("hrv", ecg, 200, 0, fullScale));
    time("runQRSDetection", () -> Signals.analyse("qrs", qrsInput, 200, 0, fullScale));
  }
}
