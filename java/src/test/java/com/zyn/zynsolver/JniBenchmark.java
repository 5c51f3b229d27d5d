package com.zyn.zynsolver;

import java.nio.file.Files;
import java.nio.file.Path;
import java.util.Arrays;
import java.util.concurrent.Callable;

/**
 * Times runHRV and runQRSDetection through the JVM, sealing and opening included, on a
 * 10-minute recording at 200 Hz (a one-column CSV given as the first argument, or a synthetic
 * one): median and 90th percentile over 200 warm calls.
 */
public final class JniBenchmark {
  private static final int WARM_UP = 50;
  private static final int CALLS = 200;

  private JniBenchmark() {}

  static void time(String name, Callable<Object> call) throws Exception {
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
    double[] ecg;
    if (args.length > 0 && Files.exists(Path.of(args[0]))) {
      ecg = Files.readAllLines(Path.of(args[0])).stream().map(String::trim)
          .filter(l -> !l.isEmpty() && !Character.isLetter(l.charAt(0)))
          .mapToDouble(Double::parseDouble).limit(120000).toArray();
      System.out.println("recording " + args[0] + ", " + ecg.length + " samples");
    } else {
      ecg = Signals.ecg(120000, 72, 1);
      System.out.println("synthetic recording, " + ecg.length + " samples");
    }
    double fullScale = args.length > 1 ? Double.parseDouble(args[1]) : 10.0;
    NativeZYNecgSolver solver = new NativeZYNecgSolver();
    double[] qrsInput = Arrays.copyOf(ecg, Math.min(ecg.length, 119936));
    time("runHRV", () -> SealedResults.openHrv(solver.runHRV(ecg, 200, 0, 10, fullScale)));
    time("runQRSDetection", () -> SealedResults.openQrs(solver.runQRSDetection(qrsInput, 200, 0, 10, fullScale)));
  }
}
