package com.zyn.zynsolver;

import java.util.Random;

/** Synthetic ECG recordings at 200 Hz in millivolts, reproducible from a seed. */
final class Signals {
  static final int FS = 200;
  static final double FULL_SCALE_MV = 10.0;

  private Signals() {}

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
