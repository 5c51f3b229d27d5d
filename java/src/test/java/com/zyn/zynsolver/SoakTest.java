package com.zyn.zynsolver;

import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertNotNull;
import static org.junit.jupiter.api.Assertions.assertTrue;

import java.nio.file.Files;
import java.nio.file.Path;
import java.util.ArrayList;
import java.util.Arrays;
import java.util.Collections;
import java.util.List;
import java.util.concurrent.Callable;
import java.util.concurrent.CyclicBarrier;
import java.util.concurrent.ExecutorService;
import java.util.concurrent.Executors;
import java.util.concurrent.Future;
import java.util.concurrent.TimeUnit;
import java.util.concurrent.atomic.AtomicInteger;
import java.util.stream.DoubleStream;
import java.util.stream.IntStream;
import javax.crypto.SealedObject;
import org.junit.jupiter.api.Tag;
import org.junit.jupiter.api.Test;

/**
 * No native memory kept per call: 2,000 full-length HRV calls in this JVM must not grow the
 * resident size by 20 MB. The soak: 8 threads make 10,000 calls in all, mixing plausible
 * recordings with hostile requests (null, wrong lengths, NaN-filled, huge amplitudes, negative
 * start, fs 0). No call may crash or return null; every result must equal the one computed
 * sequentially before; resident memory must not grow by 20 MB or more once warmed up.
 *
 * <p>The soak runs in a child JVM with -Xcheck:jni, a fixed, pre-touched Java heap and the C1
 * compiler only, so that the resident size it measures moves only with native memory: a growing
 * Java heap would hide or fake a leak, and the C2 compiler's work arenas, kept by the C allocator
 * after a burst of compilations, add steps of 20 to 50 MB at unpredictable moments.
 */
@Tag("soak")
class SoakTest {
  private static final NativeZYNecgSolver SOLVER = new NativeZYNecgSolver();
  private static final int THREADS = 8;
  /** Calls in all; -Dzynecg.soak.calls=N runs a longer soak. */
  private static final int TOTAL_CALLS = Integer.getInteger("zynecg.soak.calls", 10_000);
  private static final int WARM_UP_CALLS = 2_000;
  private static final int BLOCK_CALLS = 1_000;
  private static final int LOCKSTEP_ROUNDS = 3;
  private static final long RESIDENT_GROWTH_LIMIT_KB = 20 * 1024;

  /** One request: which analysis, its arguments, and the error code it must give (-1: any). */
  record Case(String name, boolean hrv, double[] ecg, int fs, int start, double fullScale,
      int expectedError) {
    String run() throws Exception {
      SealedObject sealed = hrv ? SOLVER.runHRV(ecg, fs, start, 10, fullScale)
          : SOLVER.runQRSDetection(ecg, fs, start, 10, fullScale);
      assertNotNull(sealed, name);
      if (hrv) {
        ZYNecgResults h = SealedResults.openHrv(sealed);
        assertTrue(expectedError < 0 || h.error == expectedError, name + ": " + h);
        return h + Arrays.deepToString(new int[][] {h.rpeaks, h.extra_systoles, h.qualities, h.ppeaks});
      }
      ZYNecgQrsResults q = SealedResults.openQrs(sealed);
      assertTrue(expectedError < 0 || q.error == expectedError, name + ": " + q);
      return q + Arrays.deepToString(new int[][] {q.rpeaks, q.extra_systoles, q.qualities, q.qrs_onsets});
    }
  }

  static double[] filled(int n, double v) {
    return DoubleStream.generate(() -> v).limit(n).toArray();
  }

  static double[] scaled(double[] x, double factor) {
    return Arrays.stream(x).map(v -> v * factor).toArray();
  }

  static List<Case> cases() {
    double[] minute = Signals.ecg(60 * 200, 72, 11);
    double[] fast = Signals.ecg(30 * 200, 130, 12);
    double[] threeMinutes = Signals.ecg(36000, 64, 13);
    double[] withNaN = IntStream.range(0, minute.length).mapToDouble(i -> i % 97 == 0 ? Double.NaN : minute[i]).toArray();
    double mv = Signals.FULL_SCALE_MV;
    return List.of(
        new Case("qrs 60 s", false, minute, 200, 0, mv, 0),
        new Case("qrs 30 s fast", false, fast, 200, 0, mv, -1),
        new Case("qrs late start", false, minute, 200, 40, mv, -1),
        new Case("hrv 180 s", true, threeMinutes, 200, 0, mv, -1),
        new Case("hrv null", true, null, 200, 0, mv, 1),
        new Case("qrs too long", false, new double[119937], 200, 0, mv, 2),
        new Case("hrv too short", true, Arrays.copyOf(threeMinutes, 35999), 200, 0, mv, 2),
        new Case("qrs all NaN", false, filled(12000, Double.NaN), 200, 0, mv, -1),
        new Case("hrv all NaN", true, filled(36000, Double.NaN), 200, 0, mv, -1),
        new Case("qrs some NaN", false, withNaN, 200, 0, mv, -1),
        new Case("qrs huge amplitude", false, scaled(minute, 1e300), 200, 0, 1e308, -1),
        new Case("qrs infinite", false, filled(12000, Double.POSITIVE_INFINITY), 200, 0, mv, -1),
        new Case("hrv huge amplitude", true, scaled(threeMinutes, 1e300), 200, 0, mv, -1),
        new Case("hrv negative start", true, threeMinutes, 200, Integer.MIN_VALUE, mv, 7),
        new Case("qrs fs 0", false, minute, 0, 0, mv, 2),
        new Case("qrs full scale NaN", false, minute, 200, 0, Double.NaN, 7));
  }

  /** Runs body on every thread of the pool at once; a failure on any thread fails the soak. */
  static void onEveryThread(ExecutorService pool, Callable<Void> body) throws Exception {
    for (Future<Void> f : pool.invokeAll(Collections.nCopies(THREADS, body))) {
      f.get();
    }
  }

  /** Each case on all threads at once, LOCKSTEP_ROUNDS times. */
  static void runLockstep(ExecutorService pool, List<Case> cases, List<String> expected)
      throws Exception {
    CyclicBarrier together = new CyclicBarrier(THREADS);
    onEveryThread(pool, () -> {
      for (int call = 0; call < LOCKSTEP_ROUNDS * cases.size(); call++) {
        together.await(2, TimeUnit.MINUTES);  // times out when another thread has failed
        Case c = cases.get(call % cases.size());
        assertEquals(expected.get(call % cases.size()), c.run(), c.name());
      }
      return null;
    });
  }

  /** Runs calls first .. end - 1 of the mix on the pool; each call checks its result. */
  static void runMix(ExecutorService pool, List<Case> cases, List<String> expected, int first,
      int end) throws Exception {
    AtomicInteger next = new AtomicInteger(first);
    onEveryThread(pool, () -> {
      for (int call = next.getAndIncrement(); call < end; call = next.getAndIncrement()) {
        // A fixed scattering of the cases over the calls (7 is prime to the case count).
        int k = (int) ((call * 7L + call / cases.size()) % cases.size());
        assertEquals(expected.get(k), cases.get(k).run(), cases.get(k).name());
      }
      return null;
    });
  }

  @Test
  void repeatedCallsDoNotGrowResidentMemory() throws Exception {
    double[] ecg = Signals.ecg(120000, 72, 200);
    long before = 0;
    for (int i = 0; i < 2200; i++) {
      if (i == 200) {  // warmed up
        System.gc();
        before = residentKilobytes();
      }
      SOLVER.runHRV(ecg, 200, 0, 10, Signals.FULL_SCALE_MV);
    }
    System.gc();
    long grownKb = residentKilobytes() - before;
    assertTrue(grownKb < RESIDENT_GROWTH_LIMIT_KB, "resident memory grew by " + grownKb + " kB over 2000 calls");
  }

  @Test
  void eightThreadsTenThousandMixedCallsInAChildJvm() throws Exception {
    FailurePathsTest.Child c = FailurePathsTest.runChild(
        FailurePathsTest.codeSourceOf(NativeZYNecgSolver.class),
        List.of("-Xms256m", "-Xmx256m", "-XX:+AlwaysPreTouch", "-XX:+UseSerialGC",
            "-XX:TieredStopAtLevel=1",
            "-Dzynecg.soak.calls=" + TOTAL_CALLS),
        SoakTest.class.getName());
    System.out.print(c.stdout());
    assertEquals(0, c.exitCode(), c.stdout());
    assertTrue(c.stdout().contains("soak passed"), c.stdout());
    assertTrue(!c.stdout().contains("WARNING in native method"), c.stdout());
  }

  static long residentKilobytes() throws Exception {
    return Files.readAllLines(Path.of("/proc/self/status")).stream().filter(l -> l.startsWith("VmRSS:"))
        .mapToLong(l -> Long.parseLong(l.replaceAll("[^0-9]", ""))).findFirst().orElseThrow();
  }

  /** The soak itself; exits 1 on any failure. */
  public static void main(String[] args) {
    try {
      soak();
      System.out.println("soak passed");
    } catch (Throwable t) {
      t.printStackTrace(System.out);
      System.exit(1);
    }
  }

  static void soak() throws Exception {
    List<Case> cases = cases();
    List<String> expected = new ArrayList<>();
    for (Case c : cases) {
      expected.add(c.run());  // sequentially, before any concurrency
    }
    ExecutorService pool = Executors.newFixedThreadPool(THREADS);
    try {
      long t0 = System.nanoTime();
      // Warm-up: every case on all threads at once (the heaviest moment the mix can reach, so
      // that each thread's allocator arena reaches its high-water mark), then mixed calls.
      runLockstep(pool, cases, expected);
      runMix(pool, cases, expected, THREADS * LOCKSTEP_ROUNDS * cases.size(), WARM_UP_CALLS);
      System.gc();
      long before = residentKilobytes();
      // Resident size after each block of calls: a leak grows it block after block, while
      // the allocator's arenas settle within the first blocks.
      StringBuilder trace = new StringBuilder();
      for (int first = WARM_UP_CALLS; first < TOTAL_CALLS; first += BLOCK_CALLS) {
        runMix(pool, cases, expected, first, Math.min(first + BLOCK_CALLS, TOTAL_CALLS));
        System.gc();
        trace.append(' ').append(residentKilobytes() - before);
      }
      long after = residentKilobytes();
      System.out.println("soak: resident growth after each block of " + BLOCK_CALLS + " calls (kB):"
          + trace);
      double seconds = (System.nanoTime() - t0) / 1e9;
      System.out.printf("soak: %d calls on %d threads in %.1f s; resident %d kB after warm-up,"
          + " %d kB at the end (%+d kB)%n", TOTAL_CALLS, THREADS, seconds, before, after,
          after - before);
      assertTrue(after - before < RESIDENT_GROWTH_LIMIT_KB,
          "resident memory grew by " + (after - before) + " kB after warm-up");
    } finally {
      pool.shutdownNow();
    }
  }
}
