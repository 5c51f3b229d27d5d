package com.zyn.zynsolver;

import java.io.IOException;
import java.security.GeneralSecurityException;
import javax.crypto.SealedObject;
import javax.crypto.spec.SecretKeySpec;

/** Opens the results that the native analyses return sealed under AES. */
public final class SealedResults {
  private SealedResults() {}

  /**
   * Opens a sealed result with the key agreed with the native library.
   *
   * @param sealed what {@link NativeZYNecgSolver#runQRSDetection} or {@link
   *     NativeZYNecgSolver#runHRV} returned
   * @return the results object
   * @throws IOException when the sealed bytes cannot be read back into an object
   * @throws GeneralSecurityException when the object cannot be decrypted
   * @throws IllegalArgumentException when {@code sealed} is null
   */
  public static Object open(SealedObject sealed) throws IOException, GeneralSecurityException {
    if (sealed == null) {
      throw new IllegalArgumentException("no sealed result (the native call returned null)");
    }
    try {
      return sealed.getObject(new SecretKeySpec(SealingKey.bytes(), "AES"));
    } catch (ClassNotFoundException e) {
      throw new IOException("sealed result holds an unknown class", e);
    }
  }

  /**
   * Opens the result of {@link NativeZYNecgSolver#runQRSDetection}.
   *
   * @param sealed the sealed result
   * @return the QRS detection results
   * @throws IOException when the sealed bytes cannot be read back into an object
   * @throws GeneralSecurityException when the object cannot be decrypted
   */
  public static ZYNecgQrsResults openQrs(SealedObject sealed)
      throws IOException, GeneralSecurityException {
    return (ZYNecgQrsResults) open(sealed);
  }

  /**
   * Opens the result of {@link NativeZYNecgSolver#runHRV}.
   *
   * @param sealed the sealed result
   * @return the heart-rate-variability results
   * @throws IOException when the sealed bytes cannot be read back into an object
   * @throws GeneralSecurityException when the object cannot be decrypted
   */
  public static ZYNecgResults openHrv(SealedObject sealed)
      throws IOException, GeneralSecurityException {
    return (ZYNecgResults) open(sealed);
  }
}
