package com.zyn.zynsolver.recording;

/**
 * A recording that cannot be read or analysed. The message is the one the command-line tool
 * prints for the same input: it names the file (or "samples") and the problem.
 */
public class RecordingException extends RuntimeException {
  private static final long serialVersionUID = 1L;

  /**
   * An exception with the analysis's own message.
   *
   * @param message the file (or "samples") and the problem
   */
  public RecordingException(String message) {
    super(message);
  }

  /**
   * An exception with a message and the failure that caused it (an unreadable file, say).
   *
   * @param message the file (or "samples") and the problem
   * @param cause the failure that caused it
   */
  public RecordingException(String message, Throwable cause) {
    super(message, cause);
  }
}
