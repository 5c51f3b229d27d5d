package com.zyn.zynsolver;

/**
 * Main class of the child JVMs started by {@link FailurePathsTest}: calls both analyses once on a
 * plausible recording and prints what came back, then a marker, so that the parent can see the
 * printed messages, the null results and that the JVM lived on.
 */
public final class FailurePathChild {
  static final String ALIVE_MARKER = "CHILD-JVM-ALIVE";

  private FailurePathChild() {}

  public static void main(String[] args) {
    NativeZYNecgSolver solver = new NativeZYNecgSolver();
    double[] ecg = Signals.ecg(40000, 70, 5);
    report("qrs", () -> solver.runQRSDetection(ecg, 200, 0, 10, Signals.FULL_SCALE_MV));
    report("hrv", () -> solver.runHRV(ecg, 200, 0, 10, Signals.FULL_SCALE_MV));
    System.out.println("version=" + solver.getVersion());
    System.out.println(ALIVE_MARKER);
  }

  private interface Call {
    Object run();
  }

  private static void report(String name, Call call) {
    try {
      Object result = call.run();
      System.out.println(name + "=" + (result == null ? "null" : result.getClass().getName()));
    } catch (Throwable t) {
      System.out.println(name + " threw " + t);
    }
  }
}
