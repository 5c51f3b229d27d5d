import com.zyn.zynsolver.NativeZYNecgSolver;
import com.zyn.zynsolver.SealedResults;
import com.zyn.zynsolver.ZYNecgQrsResults;
import com.zyn.zynsolver.ZYNecgResults;
import java.nio.file.Files;
import java.nio.file.Path;
import java.util.List;

/**
 * Reads a one-column CSV recording sampled at 200 Hz (a header line is skipped), runs QRS
 * detection and the HRV analysis, opens the sealed results and prints them.
 *
 * <pre>java -cp zynsolver-1.5.4.jar AnalyseCsv.java FILE [FULL_SCALE]</pre>
 */
public final class AnalyseCsv {
  private AnalyseCsv() {}

  public static void main(String[] args) throws Exception {
    if (args.length < 1) {
      System.err.println("usage: AnalyseCsv FILE.csv [FULL_SCALE]");
      System.exit(2);
    }
    double fullScale = args.length > 1 ? Double.parseDouble(args[1]) : 10.0;
    List<String> lines = Files.readAllLines(Path.of(args[0]));
    double[] ecg = lines.stream()
        .map(String::trim)
        .filter(l -> !l.isEmpty() && (Character.isDigit(l.charAt(0)) || l.charAt(0) == '-' || l.charAt(0) == '.'))
        .mapToDouble(Double::parseDouble)
        .toArray();
    System.out.printf("%d samples (%.1f s at 200 Hz)%n", ecg.length, ecg.length / 200.0);

    NativeZYNecgSolver solver = new NativeZYNecgSolver();
    System.out.println("library " + solver.getVersion());
    double[] qrsInput = java.util.Arrays.copyOf(ecg, Math.min(ecg.length, 119936));
    ZYNecgQrsResults qrs = SealedResults.openQrs(solver.runQRSDetection(qrsInput, 200, 0, 10, fullScale));
    System.out.println(qrs);
    ZYNecgResults hrv = SealedResults.openHrv(solver.runHRV(ecg, 200, 0, 10, fullScale));
    System.out.println(hrv);
  }
}
