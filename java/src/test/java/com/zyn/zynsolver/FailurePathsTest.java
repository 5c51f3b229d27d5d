package com.zyn.zynsolver;

import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertFalse;
import static org.junit.jupiter.api.Assertions.assertTrue;

import java.io.File;
import java.net.URISyntaxException;
import java.nio.charset.StandardCharsets;
import java.nio.file.Files;
import java.nio.file.Path;
import java.util.ArrayList;
import java.util.Collections;
import java.util.List;
import java.util.concurrent.TimeUnit;
import java.util.stream.Stream;
import org.junit.jupiter.api.Test;
import org.junit.jupiter.api.io.TempDir;

/**
 * The Java-side failures of a call, each in a child JVM run with -Xcheck:jni (the test classes
 * run from the compiled classes folder, as Maven runs them): a class path
 * without the results classes, and a security set-up in which no provider offers AES. Each call
 * must print its message on standard output and return null with no exception pending, and the
 * JVM must go on (the child then asks for the version and exits 0).
 */
public class FailurePathsTest {
  /** The child JVM: both analyses once on a plausible recording; an exception surfacing ends it with exit code 1. */
  public static void main(String[] args) {
    double[] ecg = Signals.ecg(40000, 70, 5);
    System.out.println("qrs=" + Signals.SOLVER.runQRSDetection(ecg, 200, 0, 10, Signals.FULL_SCALE_MV));
    System.out.println("hrv=" + Signals.SOLVER.runHRV(ecg, 200, 0, 10, Signals.FULL_SCALE_MV));
    System.out.println("version=" + Signals.SOLVER.getVersion());
  }

  static Path codeSourceOf(Class<?> c) throws URISyntaxException {
    return Path.of(c.getProtectionDomain().getCodeSource().getLocation().toURI());
  }

  /**
   * The native library file the build staged for the jar (system property {@code
   * zynecg.test.library}), for children whose class path lacks the bundled copy.
   */
  static String stagedLibrary() {
    String staged = System.getProperty("zynecg.test.library", "");
    assertTrue(Files.isRegularFile(Path.of(staged)), "zynecg.test.library names the library: " + staged);
    return staged;
  }

  /** Starts mainClass in a child JVM with -Xcheck:jni (package, test classes, JUnit's assertions on the class path). */
  static Process startChild(Path mainClasses, List<String> extraOptions, String mainClass) throws Exception {
    List<String> command = new ArrayList<>(List.of(
        Path.of(System.getProperty("java.home"), "bin", "java").toString(), "-Xcheck:jni", "-Xmx256m"));
    command.addAll(extraOptions);
    command.addAll(List.of("-cp", String.join(File.pathSeparator, mainClasses.toString(),
        codeSourceOf(FailurePathsTest.class).toString(),
        codeSourceOf(org.junit.jupiter.api.Assertions.class).toString(),
        codeSourceOf(org.opentest4j.AssertionFailedError.class).toString()), mainClass));
    return new ProcessBuilder(command).redirectErrorStream(true).start();
  }

  /** The output of a child JVM, once it has exited 0 without a -Xcheck:jni warning. */
  static String outputOf(Process p) throws Exception {
    String out = new String(p.getInputStream().readAllBytes(), StandardCharsets.UTF_8);
    assertTrue(p.waitFor(600, TimeUnit.SECONDS), "child JVM finished");
    assertEquals(0, p.exitValue(), out);
    assertFalse(out.contains("WARNING in native method"), out);
    return out;
  }

  /** Runs mainClass in a child JVM; returns its output once it exits 0 unwarned. */
  static String runChild(Path mainClasses, List<String> extraOptions, String mainClass) throws Exception {
    return outputOf(startChild(mainClasses, extraOptions, mainClass));
  }

  /** Runs main in a child JVM: each call prints its message and returns null, and the JVM lives on. */
  static void assertChildPrints(Path mainClasses, String qrsMessage, String hrvMessage, String... options)
      throws Exception {
    String out = runChild(mainClasses, List.of(options), FailurePathsTest.class.getName());
    List<String> expected = List.of(qrsMessage, "qrs=null", hrvMessage, "hrv=null", "version=1.5.4");
    assertTrue(Collections.indexOfSubList(out.lines().toList(), expected) >= 0, out);
  }

  @Test
  void missingResultsClassesPrintTheirMessageAndReturnNull(@TempDir Path dir) throws Exception {
    // The package's classes, all but the two results classes; the library from its file.
    Path classes = codeSourceOf(NativeZYNecgSolver.class);
    try (Stream<Path> files = Files.walk(classes)) {
      for (Path f : (Iterable<Path>) files::iterator) {
        String name = classes.relativize(f).toString();
        if (name.endsWith(".class") && !name.matches(".*/ZYNecg(Qrs)?Results.class")) {
          Files.createDirectories(dir.resolve(name).getParent());
          Files.copy(f, dir.resolve(name));
        }
      }
    }
    assertChildPrints(dir, "*** ERROR: Could not find ZYNecgQrsResultsClass.",
        "*** ERROR: Could not find ZYNecgResultsClass.",
        "-D" + NativeZYNecgSolver.LIBRARY_PATH_PROPERTY + "=" + stagedLibrary());
  }

  @Test
  void aCipherThatCannotBeCreatedPrintsItsMessageAndReturnsNull(@TempDir Path dir) throws Exception {
    // Replaces the whole security configuration: the only provider is SUN, which offers
    // message digests, signatures and random numbers but no cipher.
    Path security = dir.resolve("no-aes.security");
    Files.writeString(security, "security.provider.1=SUN\n");
    String message = "*** ERROR generating the Cipher Object";
    assertChildPrints(codeSourceOf(NativeZYNecgSolver.class), message, message,
        "-Djava.security.properties==" + security);
  }
}
