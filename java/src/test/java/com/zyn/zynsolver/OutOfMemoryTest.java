package com.zyn.zynsolver;

import static org.junit.jupiter.api.Assertions.assertTrue;

import java.security.AlgorithmParameters;
import java.security.Key;
import java.security.Provider;
import java.security.SecureRandom;
import java.security.Security;
import java.security.spec.AlgorithmParameterSpec;
import java.util.ArrayList;
import java.util.List;
import javax.crypto.CipherSpi;
import javax.crypto.SealedObject;
import org.junit.jupiter.api.Test;

/**
 * Running out of Java heap anywhere in a call (results objects, cipher, sealing) reaches the caller
 * as OutOfMemoryError: a child JVM with a small heap fills it, then frees it a little at a time and
 * calls at each step, so that the first allocation that fails moves through the whole call; and
 * a security provider whose AES cipher runs out of memory while it is made, which the provider
 * lookup of Cipher.getInstance wraps in exceptions of its own.
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

  /** Offers an AES cipher whose construction runs out of memory. */
  public static final class ExhaustedProvider extends Provider {
    private static final long serialVersionUID = 1L;

    /** Registers the cipher. */
    public ExhaustedProvider() {
      super("Exhausted", "1", "AES cipher that runs out of memory");
      put("Cipher.AES", ExhaustedCipher.class.getName());
    }
  }

  /** The cipher: making it fails as a full heap would, so no other method is ever called. */
  public static final class ExhaustedCipher extends CipherSpi {
    /** Always throws. */
    public ExhaustedCipher() {
      throw new OutOfMemoryError("Java heap space (while making the cipher)");
    }

    @Override protected void engineSetMode(String mode) {}
    @Override protected void engineSetPadding(String padding) {}
    @Override protected int engineGetBlockSize() { return 0; }
    @Override protected int engineGetOutputSize(int inputLen) { return 0; }
    @Override protected byte[] engineGetIV() { return null; }
    @Override protected AlgorithmParameters engineGetParameters() { return null; }
    @Override protected void engineInit(int mode, Key key, SecureRandom random) {}
    @Override protected void engineInit(int mode, Key key, AlgorithmParameterSpec params, SecureRandom random) {}
    @Override protected void engineInit(int mode, Key key, AlgorithmParameters params, SecureRandom random) {}
    @Override protected byte[] engineUpdate(byte[] input, int offset, int len) { return null; }
    @Override protected int engineUpdate(byte[] input, int offset, int len, byte[] output, int outOffset) { return 0; }
    @Override protected byte[] engineDoFinal(byte[] input, int offset, int len) { return null; }
    @Override protected int engineDoFinal(byte[] input, int offset, int len, byte[] output, int outOffset) { return 0; }
  }

  /** Second child JVM: prints what a call gives when the cipher cannot be made for lack of memory. */
  static final class CipherChild {
    public static void main(String[] args) {
      // The only AES: the lookup wraps the error twice in NoSuchAlgorithmException.
      Security.removeProvider("SunJCE");
      Security.insertProviderAt(new ExhaustedProvider(), 1);
      try {
        System.out.println("returned " + Signals.SOLVER.runQRSDetection(Signals.ecg(6000, 70, 9), 200, 0, 10, 10.0));
      } catch (OutOfMemoryError e) {
        System.out.println("thrown " + e.getMessage());
      }
    }
  }

  @Test
  void outOfMemoryWhileTheCipherIsMadeReachesTheCaller() throws Exception {
    String out = FailurePathsTest.runChild(FailurePathsTest.codeSourceOf(NativeZYNecgSolver.class), List.of(),
        CipherChild.class.getName());
    assertTrue(out.contains("thrown Java heap space (while making the cipher)") && !out.contains("*** ERROR"), out);
  }

  @Test
  void outOfMemoryAnywhereInACallReachesTheCaller() throws Exception {
    String out = FailurePathsTest.runChild(FailurePathsTest.codeSourceOf(NativeZYNecgSolver.class),
        List.of("-Xmx12m", "-XX:+UseSerialGC"), OutOfMemoryTest.class.getName());
    assertTrue(out.matches("(?s).*OutOfMemoryError [1-9][0-9]* times, then 2 sealed results.*"), out);
    assertTrue(!out.contains("*** ERROR") && !out.contains("*** Error"), out);
  }
}
