package com.zyn.zynsolver;

/**
 * The 16-byte AES key shared with the native library. Both sides derive it at run time from the
 * same small recurrence (never stored as one literal): b[0] = 0x3B, b[i] = (b[i-1] * 29 + 0x47 +
 * i) mod 256.
 */
final class SealingKey {
  static final int LENGTH = 16;

  private SealingKey() {}

  static byte[] bytes() {
    byte[] key = new byte[LENGTH];
    int b = 0x3B;
    key[0] = (byte) b;
    for (int i = 1; i < LENGTH; i++) {
      b = (b * 29 + 0x47 + i) & 0xFF;
      key[i] = (byte) b;
    }
    return key;
  }
}
