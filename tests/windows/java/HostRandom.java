import java.io.FileInputStream;
import java.io.IOException;
import java.io.UncheckedIOException;
import java.security.Provider;
import java.security.SecureRandomSpi;

/**
 * Random numbers from the host that Wine runs on. The Java runtime's own generator seeds itself from
 * the list of network adapters, with a call that Wine lacks and whose absence ends the process.
 */
public final class HostRandom extends Provider {
  private static final long serialVersionUID = 1;

  /** Found by name in the runtime's security properties. */
  public HostRandom() {
    super("HostRandom", "1", "random numbers from the host");
    put("SecureRandom.HostRandom", Generator.class.getName());
  }

  /** Reads the host's device. */
  public static final class Generator extends SecureRandomSpi {
    private static final long serialVersionUID = 1;

    @Override
    protected void engineSetSeed(byte[] seed) {}

    @Override
    protected void engineNextBytes(byte[] bytes) {
      try (FileInputStream device = new FileInputStream("Z:/dev/urandom")) {
        if (device.readNBytes(bytes, 0, bytes.length) != bytes.length) {
          throw new IOException("the host's random numbers end");
        }
      } catch (IOException e) {
        throw new UncheckedIOException(e);
      }
    }

    @Override
    protected byte[] engineGenerateSeed(int count) {
      byte[] seed = new byte[count];
      engineNextBytes(seed);
      return seed;
    }
  }
}
