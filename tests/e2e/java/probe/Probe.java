package probe;

import java.io.FileDescriptor;
import java.io.FileOutputStream;
import java.io.PrintStream;
import java.nio.charset.StandardCharsets;
import java.util.concurrent.CountDownLatch;
import java.util.concurrent.locks.LockSupport;

/** Tells what reached it, then does what the property "probe.do" says. */
public final class Probe {
    private static final PrintStream OUT =
        new PrintStream(new FileOutputStream(FileDescriptor.out), true, StandardCharsets.UTF_8);
    private static final CountDownLatch STOPPED = new CountDownLatch(1);

    private Probe() {}

    public static void main(String[] args) throws Exception {
        for (String arg : args) {
            OUT.println("arg[" + arg + "]");
        }
        OUT.printf(
            "property[%s]%nenv[%s]%n", System.getProperty("probe.value"), System.getenv("PROBE"));
        OUT.printf("path[%s]%npid[%s]%ndirectory[%s]%n", System.getProperty("java.class.path"),
            System.getProperty("application.processid"), System.getProperty("user.dir"));
        String[] action = System.getProperty("probe.do", "return").split(":");
        switch (action[0]) {
            case "exit" -> System.exit(Integer.parseInt(action[1]));
            case "throw" -> throw new IllegalStateException("thrown on purpose");
            case "thread" -> new Thread(() -> {
                LockSupport.parkNanos(300_000_000);
                OUT.println("thread ends");
            }).start();
            case "wait" -> STOPPED.await();
            default -> { }
        }
        OUT.println("returning");
    }

    public static void other(String[] args) {
        OUT.println("other start method");
    }

    public static void shutdown() {
        OUT.println("stop method");
        STOPPED.countDown();
    }

    public void notStatic(String[] args) {}

    /** Cannot be initialised. */
    public static final class Failing {
        static final int VALUE = Integer.parseInt("no number");
    }
}
