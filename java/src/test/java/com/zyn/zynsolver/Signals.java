package com.zyn.zynsolver;

import java.io.IOException;
import java.nio.file.Files;
import java.nio.file.Path;
import java.util.Arrays;
import java.util.Random;

/**
 * ECG recordings for the tests (synthetic ones at 200 Hz in millivolts, reproducible from a seed, or
 * one-column CSV files) and the two analyses called through the JVM with their sealed results opened.
 */
final class Signals {
  static final int FS = 200;
  static final double FULL_SCALE_MV = 10.0;
  static final NativeZYNecgSolver SOLVER = new NativeZYNecgSolver();

  private Signals() {}

  /** The fields of either results class; the 13 HRV statistics in field order, none for QRS. */
  record Analysis(int error, double hr, double hrMean, double[] statistics, int[] rpeaks, int[] extraSystoles,
      int[] reserved1, int[] reserved2, int[] qualities) {
    /** The five arrays in field order: beats, extra systoles, the two reserved arrays, qualities. */
    int[][] arrays() {
      return new int[][] {rpeaks, extraSystoles, reserved1, reserved2, qualities};
    }

    /** Every field as text; Double.toString tells every double apart, so equal texts mean equal bits. */
    String fields() {
      return "error " + error + ", hr " + hr + ", hr_mean " + hrMean + ", statistics "
          + Arrays.toString(statistics) + ", arrays " + Arrays.deepToString(arrays());
    }
  }

  /** Runs runQRSDetection ("qrs") or runHRV ("hrv") with 10-second quality windows; null results throw. */
  static Analysis analyse(String mode, double[] ecg, int fs, int start, double fullScale) throws Exception {
    if (mode.equals("hrv")) {
      ZYNecgResults h = SealedResults.openHrv(SOLVER.runHRV(ecg, fs, start, 10, fullScale));
      return new Analysis(h.error, h.hr, h.hr_mean, new double[] {h.nn_rr, h.avnn, h.sdnn, h.sdann,
          h.sdnnidx, h.rmssd, h.pnn50, h.tot_pwr, h.ulf_pwr, h.vlf_pwr, h.lf_pwr, h.hf_pwr, h.lf_hf},
          h.rpeaks, h.extra_systoles, h.ppeaks, h.tpeaks, h.qualities);
    }
    ZYNecgQrsResults q = SealedResults.openQrs(SOLVER.runQRSDetection(ecg, fs, start, 10, fullScale));
    return new Analysis(q.error, q.hr, q.hr_mean, new double[0], q.rpeaks, q.extra_systoles, q.qrs_onsets,
        q.qrs_offsets, q.qualities);
  }

  /** The samples of a one-column CSV file, header lines skipped, at most ten minutes of them. */
  static double[] csv(Path file) throws IOException {
    return Files.readAllLines(file).stream().map(String::trim)
        .filter(l -> !l.isEmpty() && !Character.isLetter(l.charAt(0)))
        .mapToDouble(Double::parseDouble).limit(120000).toArray();
  }

  /**
   * A sinus rhythm of about {@code bpm} beats per minute with +-4 % RR variation: P, QRS and T
   * waves as Gaussian bumps, slow baseline wander and a little white noise.
   */
  static double[] ecg(int samples, double bpm, long seed) {
    Random random = new Random(seed);
    double[] x = new double[samples];
    double meanRr = 60.0 / bpm;
    for (double t = 0.4; t * FS < samples + FS; t += meanRr * (1.0 + 0.08 * (random.nextDouble() - 0.5))) {
      addBump(x, t - 0.16, 0.012, 0.12);
      addBump(x, t - 0.02, 0.008, -0.10);
      addBump(x, t, 0.010, 1.2);
      addBump(x, t + 0.025, 0.008, -0.25);
      addBump(x, t + 0.25, 0.040, 0.30);
    }
    for (int i = 0; i < samples; i++) {
      double t = (double) i / FS;
      x[i] += 0.08 * Math.sin(2 * Math.PI * 0.3 * t) + 0.01 * random.nextGaussian();
    }
    return x;
  }

  private static void addBump(double[] x, double centreSeconds, double widthSeconds, double amplitude) {
    int centre = (int) Math.round(centreSeconds * FS);
    int reach = (int) Math.ceil(5 * widthSeconds * FS);
    for (int i = Math.max(0, centre - reach); i <= Math.min(x.length - 1, centre + reach); i++) {
      double d = (i - centreSeconds * FS) / (widthSeconds * FS);
      x[i] += amplitude * Math.exp(-0.5 * d * d);
    }
  }
}
