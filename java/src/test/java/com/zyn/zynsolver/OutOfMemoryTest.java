package com.zyn.zynsolver;

import static org.junit.jupiter.api.Assertions.assertTrue;

import java.util.ArrayList;
import java.util.List;
import javax.crypto.SealedObject;
import org.junit.jupiter.api.Test;

/**
 * Running out of Java heap anywhere in a call (results objects, cipher, sealing) reaches the caller
 * as OutOfMemoryError: a child JVM with a small heap fills it, then frees it a little at a time and
 * calls at each step, so that the first allocation that fails moves through the whole call.
 */
class OutOfMemoryTest {
  private static final int RESERVE_BLOCKS = 48;
  private static final int RESERVE_BLOCK_BYTES = 2048;
  /** What fills the heap; emptied before anything is printed. */
  private static final List<byte[]> FILLER = new ArrayList<>(100_000);

  /** The child JVM: a null result or a printed message ends it with exit code 1. */
  public static void main(String[] args) {
    double[] ecg = Signals.ecg(6000, 70, 9);
    NativeZYNecgSolver solver = Signals.SOLVER;
    requireSealed(solver.runQRSDetection(ecg, 200, 0, 10, Signals.FULL_SCALE_MV));
    List<byte[]> reserve = new ArrayList<>(RESERVE_BLOCKS);
    for (int i = 0; i < RESERVE_BLOCKS; i++) {
      reserve.add(new byte[RESERVE_BLOCK_BYTES]);
    }
    for (int size = 1 << 20; size >= 16; ) {
      try {
        FILLER.add(new byte[size]);
      } catch (OutOfMemoryError full) {
        size /= 2;
      }
    }
    int thrown = 0;
    int sealed = 0;
    while (!reserve.isEmpty() && sealed < 2) {
      reserve.remove(reserve.size() - 1);
      try {
        requireSealed(sealed % 2 == 0 ? solver.runQRSDetection(ecg, 200, 0, 10, Signals.FULL_SCALE_MV)
            : solver.runHRV(ecg, 200, 0, 10, Signals.FULL_SCALE_MV));
        sealed++;
      } catch (OutOfMemoryError expected) {
        thrown++;
      }
    }
    FILLER.clear();
    System.out.println("OutOfMemoryError " + thrown + " times, then " + sealed + " sealed results");
  }

  private static void requireSealed(SealedObject s) {
    if (s == null) {
      FILLER.clear();
      System.out.println("a call returned null");
      System.exit(1);
    }
  }

  @Test
  void outOfMemoryAnywhereInACallReachesTheCaller() throws Exception {
    String out = FailurePathsTest.runChild(FailurePathsTest.codeSourceOf(NativeZYNecgSolver.class),
        List.of("-Xmx12m", "-XX:+UseSerialGC"), OutOfMemoryTest.class.getName());
    assertTrue(out.matches("(?s).*OutOfMemoryError [1-9][0-9]* times, then 2 sealed results.*"), out);
    assertTrue(!out.contains("*** ERROR") && !out.contains("*** Error"), out);
  }
}
