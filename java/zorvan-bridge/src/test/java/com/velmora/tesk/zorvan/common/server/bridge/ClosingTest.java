package com.velmora.tesk.zorvan.common.server.bridge;

import static com.velmora.tesk.zorvan.common.server.bridge.CannedDomain.names;
import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertFalse;
import static org.junit.jupiter.api.Assertions.assertTrue;

import com.velmora.tesk.zorvan.common.server.ADHandler;
import com.velmora.tesk.zorvan.common.server.NativeLibraryLoader;
import java.lang.ref.ReferenceQueue;
import java.lang.ref.WeakReference;
import java.util.Set;
import org.junit.jupiter.api.Test;

/** A server that stops an application and wants its class loader back. */
class ClosingTest {
  /** What runs in the application's loader. */
  public static final class Application {
    private Application() {}

    private static int rowsOf(ADHandler handler) {
      CannedDomain domain = new CannedDomain();
      handler.GetObjects(
          domain.settings, "DC=canned", "rows=2", names("cn"), domain.listener, domain.errors);
      return domain.rows.size();
    }

    /** Loads the library and uses it. */
    public static void start() {
      assertEquals(2, rowsOf(NativeLibraryLoader.handler()), "rows");
    }

    /** Closes the library, begins anew, and closes it again. */
    public static void stop() {
      ADHandler kept = NativeLibraryLoader.handler();
      NativeLibraryLoader.close();
      NativeLibraryLoader.close();
      assertEquals(0, rowsOf(kept), "rows of a closed library");
      assertEquals(2, rowsOf(NativeLibraryLoader.handler()), "rows after a new beginning");
      NativeLibraryLoader.close();
    }
  }

  private final ReferenceQueue<ClassLoader> collected = new ReferenceQueue<>();

  private static void run(ClassLoader loader, String method) {
    String library = System.getProperty(NativeLibraryLoader.LIBRARY_PROPERTY);
    BridgeLoader.useCannedLibrary(
        copy -> {
          System.setProperty(NativeLibraryLoader.LIBRARY_PROPERTY, copy.toString());
          try {
            loader.loadClass(Application.class.getName()).getMethod(method).invoke(null);
          } catch (ReflectiveOperationException e) {
            throw new AssertionError(e.getCause() == null ? e : e.getCause());
          } finally {
            System.setProperty(NativeLibraryLoader.LIBRARY_PROPERTY, library);
          }
        });
  }

  private WeakReference<ClassLoader> startedApplication() {
    ClassLoader loader = new BridgeLoader(Set.of());
    run(loader, "start");
    return new WeakReference<>(loader, collected);
  }

  private boolean isCollected(int rounds) throws InterruptedException {
    for (int round = 0; round < rounds; round++) {
      System.gc();
      if (collected.remove(50) != null) {
        return true;
      }
    }
    return false;
  }

  @Test
  void theClassLoaderOfAClosedLibraryIsCollected() throws InterruptedException {
    WeakReference<ClassLoader> application = startedApplication();
    assertFalse(isCollected(3), "the library's references hold the loader");
    run(application.get(), "stop");
    assertTrue(isCollected(100), "something holds the loader of a closed library");
  }
}
