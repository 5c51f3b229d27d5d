package com.zyn.zynsolver;

import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertFalse;
import static org.junit.jupiter.api.Assertions.assertTrue;

import java.io.InputStream;
import java.net.URISyntaxException;
import java.nio.charset.StandardCharsets;
import java.nio.file.Files;
import java.nio.file.Path;
import java.util.ArrayList;
import java.util.List;
import java.util.Set;
import java.util.concurrent.Callable;
import java.util.concurrent.TimeUnit;
import java.util.jar.JarEntry;
import java.util.jar.JarFile;
import org.junit.jupiter.api.Test;
import org.junit.jupiter.api.io.TempDir;

/**
 * The Java-side failures of a call, each in a child JVM run with -Xcheck:jni: a class path
 * without the results classes, and a security set-up in which no provider offers AES. Each must
 * print its message on standard output, return null, leave no exception pending and let the JVM
 * go on (the child prints a marker after the calls and exits 0).
 */
public class FailurePathsTest {
  private static final String PACKAGE_PATH = "com/zyn/zynsolver/";
  private static final String ALIVE_MARKER = "CHILD-JVM-ALIVE";

  /**
   * The child JVM: calls both analyses once on a plausible recording and prints what came back,
   * then the marker, so that the parent sees the printed messages, the null results and that the
   * JVM lived on.
   */
  public static void main(String[] args) {
    NativeZYNecgSolver solver = new NativeZYNecgSolver();
    double[] ecg = Signals.ecg(40000, 70, 5);
    report("qrs", () -> solver.runQRSDetection(ecg, 200, 0, 10, Signals.FULL_SCALE_MV));
    report("hrv", () -> solver.runHRV(ecg, 200, 0, 10, Signals.FULL_SCALE_MV));
    System.out.println("version=" + solver.getVersion());
    System.out.println(ALIVE_MARKER);
  }

  private static void report(String name, Callable<Object> call) {
    try {
      Object result = call.call();
      System.out.println(name + "=" + (result == null ? "null" : result.getClass().getName()));
    } catch (Throwable t) {
      System.out.println(name + " threw " + t);
    }
  }

  static Path codeSourceOf(Class<?> c) throws URISyntaxException {
    return Path.of(c.getProtectionDomain().getCodeSource().getLocation().toURI());
  }

  /** Copies the package's classes (from its jar) into a folder, leaving out the named ones. */
  static Path packageWithout(Path target, Set<String> leftOut) throws Exception {
    try (JarFile jar = new JarFile(codeSourceOf(NativeZYNecgSolver.class).toFile())) {
      for (JarEntry e : java.util.Collections.list(jar.entries())) {
        if (e.getName().endsWith(".class") && !leftOut.contains(e.getName())) {
          Path out = target.resolve(e.getName());
          Files.createDirectories(out.getParent());
          try (InputStream in = jar.getInputStream(e)) {
            Files.copy(in, out);
          }
        }
      }
    }
    return target;
  }

  record Child(int exitCode, String stdout) {}

  static Child runChild(Path mainClasses, List<String> extraOptions, String mainClass)
      throws Exception {
    List<String> command = new ArrayList<>(List.of(
        Path.of(System.getProperty("java.home"), "bin", "java").toString(), "-Xcheck:jni",
        "-D" + NativeZYNecgSolver.LIBRARY_PATH_PROPERTY + "="
            + System.getProperty(NativeZYNecgSolver.LIBRARY_PATH_PROPERTY, "")));
    command.addAll(extraOptions);
    // The package under test, the test classes, and JUnit's assertions (used by the soak).
    command.addAll(List.of("-cp", mainClasses + java.io.File.pathSeparator
        + codeSourceOf(FailurePathsTest.class) + java.io.File.pathSeparator
        + codeSourceOf(org.junit.jupiter.api.Assertions.class), mainClass));
    Process p = new ProcessBuilder(command).redirectErrorStream(true).start();
    byte[] out = p.getInputStream().readAllBytes();
    assertTrue(p.waitFor(600, TimeUnit.SECONDS), "child JVM finished");
    return new Child(p.exitValue(), new String(out, StandardCharsets.UTF_8));
  }

  /** Runs main in a child JVM, checks that its JVM lived on, and returns its output lines. */
  static List<String> runFailureChild(Path mainClasses, String... options) throws Exception {
    List<String> all = new ArrayList<>(List.of("-Xmx256m"));
    all.addAll(List.of(options));
    Child c = runChild(mainClasses, all, FailurePathsTest.class.getName());
    assertEquals(0, c.exitCode(), c.stdout());
    assertTrue(c.stdout().contains("version=1.5.4"), c.stdout());
    assertTrue(c.stdout().contains(ALIVE_MARKER), c.stdout());
    assertFalse(c.stdout().contains(" threw "), "no exception surfaced: " + c.stdout());
    assertFalse(c.stdout().contains("WARNING in native method"), c.stdout());
    return c.stdout().lines().toList();
  }

  @Test
  void missingResultsClassesPrintTheirMessageAndReturnNull(@TempDir Path dir) throws Exception {
    Path classes = packageWithout(dir.resolve("classes"), Set.of(
        PACKAGE_PATH + "ZYNecgQrsResults.class", PACKAGE_PATH + "ZYNecgResults.class"));
    List<String> out = runFailureChild(classes);
    int qrsMessage = out.indexOf("*** ERROR: Could not find ZYNecgQrsResultsClass.");
    int hrvMessage = out.indexOf("*** ERROR: Could not find ZYNecgResultsClass.");
    assertTrue(qrsMessage >= 0 && hrvMessage > qrsMessage, out.toString());
    assertEquals("qrs=null", out.get(qrsMessage + 1), out.toString());
    assertEquals("hrv=null", out.get(hrvMessage + 1), out.toString());
  }

  @Test
  void aCipherThatCannotBeCreatedPrintsItsMessageAndReturnsNull(@TempDir Path dir) throws Exception {
    // Replaces the whole security configuration: the only provider is SUN, which offers
    // message digests, signatures and random numbers but no cipher.
    Path security = dir.resolve("no-aes.security");
    Files.writeString(security, "security.provider.1=SUN\n");
    List<String> out = runFailureChild(codeSourceOf(NativeZYNecgSolver.class),
        "-Djava.security.properties==" + security);
    int qrsMessage = out.indexOf("*** ERROR generating the Cipher Object");
    assertTrue(qrsMessage >= 0, out.toString());
    assertEquals(List.of("qrs=null", "*** ERROR generating the Cipher Object", "hrv=null"),
        out.subList(qrsMessage + 1, qrsMessage + 4), out.toString());
  }
}
