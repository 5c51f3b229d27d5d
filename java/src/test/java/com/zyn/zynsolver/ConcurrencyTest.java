package com.zyn.zynsolver;

import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertTrue;

import java.nio.file.Files;
import java.nio.file.Path;
import java.util.ArrayList;
import java.util.List;
import java.util.concurrent.ExecutorService;
import java.util.concurrent.Executors;
import java.util.concurrent.Future;
import org.junit.jupiter.api.Test;

/** Many analyses at once in one JVM, and no native memory kept per call. */
class ConcurrencyTest {
  private static final NativeZYNecgSolver SOLVER = new NativeZYNecgSolver();
  private static final int THREADS = 8;
  private static final int CALLS_PER_THREAD = 25;

  /** A compact, comparable rendering of every field of both results. */
  static String fingerprint(double[] ecg) throws Exception {
    ZYNecgResults h = SealedResults.openHrv(SOLVER.runHRV(ecg, 200, 0, 10, Signals.FULL_SCALE_MV));
    ZYNecgQrsResults q = SealedResults.openQrs(SOLVER.runQRSDetection(
        java.util.Arrays.copyOf(ecg, Math.min(ecg.length, 119936)), 200, 0, 10, Signals.FULL_SCALE_MV));
    return h.toString() + java.util.Arrays.toString(h.rpeaks) + java.util.Arrays.toString(h.extra_systoles)
        + q.toString() + java.util.Arrays.toString(q.rpeaks) + java.util.Arrays.toString(q.qualities);
  }

  @Test
  void parallelCallsGiveTheSequentialResults() throws Exception {
    List<double[]> recordings = new ArrayList<>();
    List<String> expected = new ArrayList<>();
    for (int i = 0; i < THREADS; i++) {
      double[] ecg = Signals.ecg(40000 + 1000 * i, 55 + 8 * i, 100 + i);
      recordings.add(ecg);
      expected.add(fingerprint(ecg));
    }
    ExecutorService pool = Executors.newFixedThreadPool(THREADS);
    try {
      List<Future<Integer>> done = new ArrayList<>();
      for (int t = 0; t < THREADS; t++) {
        final int first = t;
        done.add(pool.submit(() -> {
          for (int c = 0; c < CALLS_PER_THREAD; c++) {
            int k = (first + c) % THREADS;
            assertEquals(expected.get(k), fingerprint(recordings.get(k)), "recording " + k);
          }
          return CALLS_PER_THREAD;
        }));
      }
      for (Future<Integer> f : done) {
        assertEquals(CALLS_PER_THREAD, f.get());
      }
    } finally {
      pool.shutdownNow();
    }
  }

  static long residentKilobytes() throws Exception {
    for (String line : Files.readAllLines(Path.of("/proc/self/status"))) {
      if (line.startsWith("VmRSS:")) {
        return Long.parseLong(line.replaceAll("[^0-9]", ""));
      }
    }
    throw new IllegalStateException("no VmRSS");
  }

  @Test
  void repeatedCallsDoNotGrowResidentMemory() throws Exception {
    double[] ecg = Signals.ecg(120000, 72, 200);
    for (int i = 0; i < 200; i++) {
      SOLVER.runHRV(ecg, 200, 0, 10, Signals.FULL_SCALE_MV);
    }
    System.gc();
    long before = residentKilobytes();
    for (int i = 0; i < 2000; i++) {
      SOLVER.runHRV(ecg, 200, 0, 10, Signals.FULL_SCALE_MV);
    }
    System.gc();
    long grownKb = residentKilobytes() - before;
    assertTrue(grownKb < 20 * 1024, "resident memory grew by " + grownKb + " kB over 2000 calls");
  }
}
