import com.zyn.zynsolver.NativeZYNecgSolver;
import com.zyn.zynsolver.SealedResults;
import com.zyn.zynsolver.ZYNecgQrsResults;
import com.zyn.zynsolver.ZYNecgResults;
import java.nio.file.Files;
import java.nio.file.Path;
import java.util.Arrays;

/**
 * The README's Java example as a program: reads a one-column CSV recording at 200 Hz (lines that
 * are not numbers are skipped), runs both analyses and prints what they found. It needs nothing
 * but the jar:
 *
 * <pre>java -cp zynsolver-1.5.4.jar Quickstart.java data/mitdb-100-excerpt-200hz.csv</pre>
 */
public final class Quickstart {
  private Quickstart() {}

  public static void main(String[] args) throws Exception {
    double[] ecg = Files.readAllLines(Path.of(args[0])).stream().map(String::trim)
        .filter(l -> l.matches("-?[0-9.]+([eE][-+]?[0-9]+)?")).mapToDouble(Double::parseDouble).toArray();

    NativeZYNecgSolver solver = new NativeZYNecgSolver();   // loads the library bundled in the jar
    System.out.println("jar " + NativeZYNecgSolver.class.getPackage().getImplementationVersion()
        + ", library " + solver.getVersion());

    // runHRV: 36,000 to 120,000 samples (3 to 10 minutes at 200 Hz)
    ZYNecgResults hrv = SealedResults.openHrv(solver.runHRV(ecg, 200, 0, 10, 10.0));
    System.out.println("error " + hrv.error + ", " + Math.round(hrv.hr) + " bpm, "
        + hrv.rpeakCount() + " beats, SDNN " + hrv.sdnn + " s (" + hrv.errorMeaning() + ")");

    // runQRSDetection: 3,000 to 119,936 samples, so at most the first 599.68 s
    double[] head = Arrays.copyOf(ecg, Math.min(ecg.length, NativeZYNecgSolver.QRS_MAX_SAMPLES));
    ZYNecgQrsResults qrs = SealedResults.openQrs(solver.runQRSDetection(head, 200, 0, 10, 10.0));
    int[] beats = qrs.validRpeaks();   // 0-based sample indices into ecg
    System.out.println("error " + qrs.error + ", " + beats.length + " beats, the first at sample "
        + beats[0] + ", " + qrs.extraSystoleCount() + " extra systoles");
  }
}
