package com.zyn.zynsolver;

import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertThrows;
import static org.junit.jupiter.api.Assertions.assertTrue;

import java.io.File;
import java.nio.file.Files;
import java.nio.file.Path;
import java.util.ArrayList;
import java.util.List;
import java.util.stream.Stream;
import org.junit.jupiter.api.Test;
import org.junit.jupiter.api.io.TempDir;

/**
 * Where the native library comes from, each case in a fresh child JVM whose class path holds the
 * bundled copy: the file named by zynecg.library.path first, then java.library.path, then the
 * bundled copy, extracted to a private temporary file that is gone once loaded.
 */
class LoaderTest {
  /** The child JVM: prints where the library came from, then analyses one minute. */
  public static void main(String[] args) throws Exception {
    System.out.println("origin=" + NativeZYNecgSolver.libraryOrigin());
    Signals.Analysis a = Signals.analyse("qrs", Signals.ecg(12000, 70, 5), 200, 0, Signals.FULL_SCALE_MV);
    System.out.println("error=" + a.error());
  }

  /** Runs main in a child JVM with a private temporary folder; returns the printed origin. */
  static String originIn(Path tmp, String... options) throws Exception {
    return originOf(start(tmp, options));
  }

  static Process start(Path tmp, String... options) throws Exception {
    List<String> all = new ArrayList<>(List.of(options));
    all.add("-Djava.io.tmpdir=" + tmp);
    return FailurePathsTest.startChild(FailurePathsTest.codeSourceOf(NativeZYNecgSolver.class), all,
        LoaderTest.class.getName());
  }

  static String originOf(Process child) throws Exception {
    List<String> lines = FailurePathsTest.outputOf(child).lines().toList();
    assertTrue(lines.contains("error=0"), String.join("\n", lines));
    return lines.stream().filter(l -> l.startsWith("origin=")).findFirst().orElseThrow().substring(7);
  }

  static long filesIn(Path dir) throws Exception {
    try (Stream<Path> files = Files.list(dir)) {
      return files.count();
    }
  }

  @Test
  void theNamedFileComesFirstThenTheLibraryPathThenTheBundledCopy(@TempDir Path dir) throws Exception {
    Path libraryDir = Files.createDirectories(dir.resolve("lib"));
    Path tmp = Files.createDirectories(dir.resolve("tmp"));
    Path named = Files.copy(Path.of(FailurePathsTest.stagedLibrary()), dir.resolve("named.so"));
    Files.copy(named, libraryDir.resolve(System.mapLibraryName(NativeZYNecgSolver.LIBRARY_NAME)));
    String property = "-D" + NativeZYNecgSolver.LIBRARY_PATH_PROPERTY + "=";
    String libraryPath = "-Djava.library.path=" + libraryDir;

    assertEquals(named + " (-Dzynecg.library.path)", originIn(tmp, property + named, libraryPath));
    assertEquals("java.library.path", originIn(tmp, libraryPath));
    assertEquals("bundled " + NativeLibraryLoader.resourceName("zynecgsolver"), originIn(tmp));
    assertEquals(0, filesIn(tmp), "the extracted copy is deleted once loaded");
  }

  @Test
  void twoJvmsStartingAtOnceEachLoadTheirOwnCopy(@TempDir Path tmp) throws Exception {
    Process first = start(tmp);
    Process second = start(tmp);
    assertTrue(originOf(first).startsWith("bundled "));
    assertTrue(originOf(second).startsWith("bundled "));
    assertEquals(0, filesIn(tmp), "both extracted copies are deleted");
  }

  @Test
  void aLibraryBundledForNoPlatformNamesThePlatformAndBothProperties() {
    UnsatisfiedLinkError e = assertThrows(UnsatisfiedLinkError.class,
        () -> NativeLibraryLoader.load("zynabsent", "zynecg.absent.path", LoaderTest.class));
    String platform = NativeLibraryLoader.platform();
    for (String part : new String[] {platform, "-Dzynecg.absent.path=", "java.library.path"}) {
      assertTrue(e.getMessage().contains(part), part + " in: " + e.getMessage());
    }
    assertEquals("linux-x86_64", NativeLibraryLoader.platform("Linux", "amd64"));
    assertEquals("osx-aarch64", NativeLibraryLoader.platform("Mac OS X", "aarch64"));
    assertEquals("windows-x86_64", NativeLibraryLoader.platform("Windows 11", "x86_64"));
  }

  @Test
  void aNamedFileThatCannotBeLoadedIsAnErrorNamingIt(@TempDir Path dir) throws Exception {
    Path missing = dir.resolve("missing" + File.separator + "libzynecgsolver.so");
    Process child = start(dir, "-D" + NativeZYNecgSolver.LIBRARY_PATH_PROPERTY + "=" + missing);
    String out = new String(child.getInputStream().readAllBytes(), java.nio.charset.StandardCharsets.UTF_8);
    assertEquals(1, child.waitFor(), out);
    assertTrue(out.contains("UnsatisfiedLinkError") && out.contains(missing.toString())
        && out.contains("-Dzynecg.library.path"), out);
  }
}
