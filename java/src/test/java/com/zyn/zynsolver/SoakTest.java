package com.zyn.zynsolver;

import static org.junit.jupiter.api.Assertions.assertEquals;
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
import java.util.concurrent.TimeUnit;
import java.util.concurrent.atomic.AtomicInteger;
import java.util.stream.DoubleStream;
import java.util.stream.IntStream;
import org.junit.jupiter.api.Tag;
import org.junit.jupiter.api.Test;

/**
 * The soak: 8 threads make 10,000 calls in all, mixing plausible recordings (up to the ten-minute
 * HRV, whose analysis uses helper threads of its own) with hostile requests (null, wrong lengths,
 * NaN-filled, huge amplitudes, negative start, fs 0). No call may crash or return null; every
 * result must equal the one computed sequentially before; resident memory must not grow by 20 MB
 * or more once warmed up, so no native memory is kept per call.
 */
@Tag("soak")
class SoakTest {
  private static final int THREADS = 8;
  /** Calls in all; -Dzynecg.soak.calls=N runs a longer soak. */
  private static final int TOTAL_CALLS = Integer.getInteger("zynecg.soak.calls", 10_000);
  private static final int WARM_UP_CALLS = 2_000;
  private static final int BLOCK_CALLS = 1_000;
  private static final int LOCKSTEP_ROUNDS = 3;
  private static final long RESIDENT_GROWTH_LIMIT_KB = 20 * 1024;

  /** One request and the error code it must give (-1: any); run() gives every field of the result. */
  record Case(String name, String mode, double[] ecg, int fs, int start, double fullScale, int expectedError) {
    String run() throws Exception {
      Signals.Analysis a = Signals.analyse(mode, ecg, fs, start, fullScale);
      assertTrue(expectedError < 0 || a.error() == expectedError, name + ": error " + a.error());
      return a.fields();
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
    double[] threeMinutes = Signals.ecg(36000, 64, 13);
    double[] someNaN = IntStream.range(0, minute.length).mapToDouble(i -> i % 97 == 0 ? Double.NaN : minute[i])
        .toArray();
    double mv = Signals.FULL_SCALE_MV;
    return List.of(
        new Case("qrs 60 s", "qrs", minute, 200, 0, mv, 0),
        new Case("qrs 30 s fast", "qrs", Signals.ecg(30 * 200, 130, 12), 200, 0, mv, -1),
        new Case("qrs late start", "qrs", minute, 200, 40, mv, -1),
        new Case("hrv 180 s", "hrv", threeMinutes, 200, 0, mv, -1),
        new Case("hrv 600 s", "hrv", Signals.ecg(120000, 72, 14), 200, 0, mv, 0),
        new Case("hrv null", "hrv", null, 200, 0, mv, 1),
        new Case("qrs too long", "qrs", new double[119937], 200, 0, mv, 2),
        new Case("hrv too short", "hrv", Arrays.copyOf(threeMinutes, 35999), 200, 0, mv, 2),
        new Case("qrs all NaN", "qrs", filled(12000, Double.NaN), 200, 0, mv, 9),
        new Case("hrv all NaN", "hrv", filled(36000, Double.NaN), 200, 0, mv, 9),
        new Case("qrs some NaN", "qrs", someNaN, 200, 0, mv, 9),
        new Case("qrs huge amplitude", "qrs", scaled(minute, 1e300), 200, 0, 1e308, -1),
        new Case("qrs infinite", "qrs", filled(12000, Double.POSITIVE_INFINITY), 200, 0, mv, -1),
        new Case("hrv huge amplitude", "hrv", scaled(threeMinutes, 1e300), 200, 0, mv, -1),
        new Case("hrv negative start", "hrv", threeMinutes, 200, Integer.MIN_VALUE, mv, 7),
        new Case("qrs fs 0", "qrs", minute, 0, 0, mv, 2),
        new Case("qrs full scale NaN", "qrs", minute, 200, 0, Double.NaN, 7));
  }

  /** Runs body on every thread of the pool at once; a failure on any thread fails the soak. */
  static void onEveryThread(ExecutorService pool, Callable<Void> body) throws Exception {
    for (var f : pool.invokeAll(Collections.nCopies(THREADS, body))) {
      f.get();
    }
  }

  /** Each case on all threads at once, LOCKSTEP_ROUNDS times. */
  static void runLockstep(ExecutorService pool, List<Case> cases, List<String> expected) throws Exception {
    CyclicBarrier together = new CyclicBarrier(THREADS);
    onEveryThread(pool, () -> {
      for (int call = 0; call < LOCKSTEP_ROUNDS * cases.size(); call++) {
        together.await(2, TimeUnit.MINUTES);  // times out when another thread has failed
        assertEquals(expected.get(call % cases.size()), cases.get(call % cases.size()).run());
      }
      return null;
    });
  }

  /** Runs calls first .. end - 1 of the mix on the pool; each call checks its result. */
  static void runMix(ExecutorService pool, List<Case> cases, List<String> expected, int first, int end)
      throws Exception {
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
  void eightThreadsTenThousandMixedCallsInAChildJvm() throws Exception {
    // A child JVM with -Xcheck:jni, a fixed (256 MB), pre-touched Java heap and the C1 compiler only, so that
    // the resident size moves only with native memory: a growing Java heap would hide or fake a leak,
    // and the C2 compiler's work arenas, kept by the C allocator after a burst of compilations, add
    // steps of 20 to 50 MB at unpredictable moments.
    String out = FailurePathsTest.runChild(FailurePathsTest.codeSourceOf(NativeZYNecgSolver.class),
        List.of("-Xms256m", "-XX:+AlwaysPreTouch", "-XX:+UseSerialGC", "-XX:TieredStopAtLevel=1",
            "-Dzynecg.soak.calls=" + TOTAL_CALLS), SoakTest.class.getName());
    System.out.print(out);
    assertTrue(out.contains("soak passed"), out);
  }

  static long residentKilobytes() throws Exception {
    return Files.readAllLines(Path.of("/proc/self/status")).stream().filter(l -> l.startsWith("VmRSS:"))
        .mapToLong(l -> Long.parseLong(l.replaceAll("[^0-9]", ""))).findFirst().orElseThrow();
  }

  /** The soak itself; a failure ends it with exit code 1. */
  public static void main(String[] args) throws Exception {
    List<Case> cases = cases();
    ExecutorService pool = Executors.newFixedThreadPool(THREADS);
    try {
      List<String> expected = new ArrayList<>();
      for (Case c : cases) {
        expected.add(c.run());  // sequentially, before any concurrency
      }
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
      long grown = residentKilobytes() - before;
      System.out.println("soak: resident growth in kB after each block of " + BLOCK_CALLS + " calls:" + trace);
      assertTrue(grown < RESIDENT_GROWTH_LIMIT_KB, "resident memory grew by " + grown + " kB after warm-up");
      System.out.println("soak passed");
    } finally {
      pool.shutdownNow();
    }
  }
}
