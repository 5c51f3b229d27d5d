package com.zyn.zynsolver;

import java.io.File;
import java.io.IOException;
import java.io.InputStream;
import java.net.URL;
import java.nio.charset.StandardCharsets;
import java.nio.file.Files;
import java.nio.file.Path;
import java.nio.file.StandardCopyOption;
import java.util.Arrays;
import java.util.HashMap;
import java.util.Locale;
import java.util.Map;

/**
 * Loads a native library that a jar of this project may carry for the running platform.
 *
 * <p>A library named {@code name} is looked for in this order:
 *
 * <ol>
 *   <li>the file named by the system property given to {@link #load} (for example {@code
 *       -Dzynecg.library.path=/opt/zyn/lib/libzynecgsolver.so}), when it is set; a file that
 *       cannot be loaded is an error, nothing else is tried;
 *   <li>{@code System.loadLibrary(name)}, which searches {@code java.library.path};
 *   <li>the copy bundled on the class path as {@code
 *       com/zyn/zynsolver/natives/PLATFORM/lib<name>.so} (PLATFORM as {@link #platform()} names
 *       it, the file name as {@link System#mapLibraryName} makes it). It is copied to a new
 *       temporary file readable by this user only, created afresh for each load so that any
 *       number of JVMs may start at once, loaded, and deleted at once where the platform allows
 *       (Linux and macOS keep a loaded library after its file is deleted), otherwise when the JVM
 *       exits.
 * </ol>
 *
 * <p>Each library is loaded once per class loader of this class; later calls return the origin
 * of the first load.
 */
public final class NativeLibraryLoader {
  /** Folder of the class path under which bundled libraries lie, one subfolder per platform. */
  public static final String RESOURCE_FOLDER = "com/zyn/zynsolver/natives/";

  private static final Map<String, String> LOADED = new HashMap<>();

  private NativeLibraryLoader() {}

  /**
   * Name of the running platform as the bundled libraries' folders are named: operating system
   * and processor, for example {@code linux-x86_64}, {@code linux-aarch64} or {@code osx-aarch64}.
   *
   * @return the platform folder name for this JVM
   */
  public static String platform() {
    return platform(System.getProperty("os.name", ""), System.getProperty("os.arch", ""));
  }

  static String platform(String osName, String osArch) {
    String os = osName.toLowerCase(Locale.ROOT).replace(" ", "");
    if (os.startsWith("linux")) {
      os = "linux";
    } else if (os.startsWith("mac") || os.startsWith("darwin")) {
      os = "osx";
    } else if (os.startsWith("windows")) {
      os = "windows";
    }
    String arch = osArch.toLowerCase(Locale.ROOT);
    if (arch.equals("amd64") || arch.equals("x86_64") || arch.equals("x64")) {
      arch = "x86_64";
    } else if (arch.equals("arm64") || arch.equals("aarch64")) {
      arch = "aarch64";
    }
    return os + "-" + arch;
  }

  /**
   * Class-path name of the bundled copy of a library for the running platform.
   *
   * @param name library name without prefix or suffix, for example {@code zynecgsolver}
   * @return for example {@code com/zyn/zynsolver/natives/linux-x86_64/libzynecgsolver.so}
   */
  public static String resourceName(String name) {
    return RESOURCE_FOLDER + platform() + "/" + System.mapLibraryName(name);
  }

  /**
   * Loads a native library: from the file named by {@code pathProperty}, else from {@code
   * java.library.path}, else the copy bundled next to {@code anchor}'s classes.
   *
   * @param name library name without prefix or suffix, for example {@code zynecgsolver}
   * @param pathProperty system property that may name the library file to load
   * @param anchor a class whose class loader sees the bundled copy (a class of the same jar)
   * @return where the library came from: the file and the property, {@code java.library.path},
   *     or the bundled resource
   * @throws UnsatisfiedLinkError when the named file cannot be loaded, or when the library is
   *     neither on {@code java.library.path} nor bundled for this platform; the message names
   *     the platform and both properties
   */
  public static synchronized String load(String name, String pathProperty, Class<?> anchor) {
    String origin = LOADED.get(name);
    if (origin == null) {
      origin = loadOnce(name, pathProperty, anchor);
      LOADED.put(name, origin);
    }
    return origin;
  }

  /**
   * Loads a native library as {@link #load} does, after the shared libraries that the jar carries
   * beside its bundled copy for hosts that lack them (listed in the resource {@code <name>.deps}
   * next to it, one name per line, in load order), each loaded as {@link #load} does under the
   * property {@code zynecg.<dependency>.library.path}. When {@code pathProperty} names a file,
   * that file's own dependencies are left to the system's loader.
   *
   * @param name library name without prefix or suffix, for example {@code zynecgsolver}
   * @param pathProperty system property that may name the library file to load
   * @param anchor a class whose class loader sees the bundled copies (a class of the same jar)
   * @return where the library itself came from, as {@link #load} tells it
   * @throws UnsatisfiedLinkError when the library or one of its bundled dependencies cannot be
   *     loaded
   */
  public static synchronized String loadWithDependencies(String name, String pathProperty, Class<?> anchor) {
    if (System.getProperty(pathProperty, "").isEmpty()) {
      for (String dependency : bundledDependencies(name, anchor)) {
        load(dependency, "zynecg." + dependency + ".library.path", anchor);
      }
    }
    return load(name, pathProperty, anchor);
  }

  private static String[] bundledDependencies(String name, Class<?> anchor) {
    String list = resourceName(name).replaceFirst("[^/]*$", name + ".deps");
    ClassLoader loader = anchor.getClassLoader();
    try (InputStream in = loader != null ? loader.getResourceAsStream(list) : ClassLoader.getSystemResourceAsStream(list)) {
      return in == null ? new String[0]
          : Arrays.stream(new String(in.readAllBytes(), StandardCharsets.UTF_8).split("\\s+"))
              .filter(dependency -> !dependency.isEmpty()).toArray(String[]::new);
    } catch (IOException e) {
      throw chained("Could not read the list of bundled libraries " + list + ": " + e, e);
    }
  }

  private static String loadOnce(String name, String pathProperty, Class<?> anchor) {
    String explicit = System.getProperty(pathProperty, "");
    if (!explicit.isEmpty()) {
      String file = new File(explicit).getAbsolutePath();
      try {
        System.load(file);
      } catch (UnsatisfiedLinkError e) {
        throw chained("Could not load the native library " + name + " from " + file
            + " (named by -D" + pathProperty + "): " + e.getMessage(), e);
      }
      return file + " (-D" + pathProperty + ")";
    }
    try {
      System.loadLibrary(name);
      return "java.library.path";
    } catch (UnsatisfiedLinkError notOnLibraryPath) {
      String resource = resourceName(name);
      ClassLoader loader = anchor.getClassLoader();
      URL bundled = loader != null ? loader.getResource(resource) : ClassLoader.getSystemResource(resource);
      if (bundled == null) {
        throw chained("No native library " + name + " is bundled for the platform " + platform()
            + " (no class-path resource " + resource + "), and " + System.mapLibraryName(name)
            + " is not on java.library.path (" + System.getProperty("java.library.path")
            + "). Build the library for this platform and name its file with -D" + pathProperty
            + "=FILE, or put its folder on -Djava.library.path=DIR.", notOnLibraryPath);
      }
      loadBundled(name, bundled);
      return "bundled " + resource;
    }
  }

  private static void loadBundled(String name, URL bundled) {
    String mapped = System.mapLibraryName(name);
    int dot = mapped.lastIndexOf('.');
    Path file;
    try {
      file = Files.createTempFile(mapped.substring(0, dot) + "-", mapped.substring(dot));
    } catch (IOException | RuntimeException e) {
      throw chained("Could not create a temporary file for the bundled native library " + name
          + " in java.io.tmpdir=" + System.getProperty("java.io.tmpdir") + ": " + e, e);
    }
    try {
      try (InputStream in = bundled.openStream()) {
        Files.copy(in, file, StandardCopyOption.REPLACE_EXISTING);
      }
      System.load(file.toString());
    } catch (IOException e) {
      throw chained("Could not extract the bundled native library " + name + " from " + bundled
          + " to " + file + ": " + e, e);
    } catch (UnsatisfiedLinkError e) {
      throw chained("Could not load the bundled native library " + name + " extracted to " + file
          + " (a java.io.tmpdir mounted noexec prevents it; then set -Djava.io.tmpdir): "
          + e.getMessage(), e);
    } finally {
      deleteOrMarkForExit(file);
    }
  }

  private static void deleteOrMarkForExit(Path file) {
    try {
      Files.deleteIfExists(file);
    } catch (IOException e) {
      file.toFile().deleteOnExit();
    }
  }

  private static UnsatisfiedLinkError chained(String message, Throwable cause) {
    UnsatisfiedLinkError error = new UnsatisfiedLinkError(message);
    error.initCause(cause);
    return error;
  }
}
