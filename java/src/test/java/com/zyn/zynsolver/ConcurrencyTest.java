package com.zyn.zynsolver;

import static org.junit.jupiter.api.Assertions.assertTrue;

import org.junit.jupiter.api.Test;

/**
 * No native memory kept per call. (Many analyses at once, each equal to its sequential result,
 * are checked by the soak.)
 */
class ConcurrencyTest {
  private static final NativeZYNecgSolver SOLVER = new NativeZYNecgSolver();

  @Test
  void repeatedCallsDoNotGrowResidentMemory() throws Exception {
    double[] ecg = Signals.ecg(120000, 72, 200);
    for (int i = 0; i < 200; i++) {
      SOLVER.runHRV(ecg, 200, 0, 10, Signals.FULL_SCALE_MV);
    }
    System.gc();
    long before = SoakTest.residentKilobytes();
    for (int i = 0; i < 2000; i++) {
      SOLVER.runHRV(ecg, 200, 0, 10, Signals.FULL_SCALE_MV);
    }
    System.gc();
    long grownKb = SoakTest.residentKilobytes() - before;
    assertTrue(grownKb < 20 * 1024, "resident memory grew by " + grownKb + " kB over 2000 calls");
  }
}
