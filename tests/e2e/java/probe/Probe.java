package probe;

import java.io.FileDescriptor;
import java.io.FileOutputStream;
import java.io.PrintStream;
import java.nio.charset.StandardCharsets;
import java.util.concurrent.CountDownLatch;

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
        OUT.println("property[" + System.getProperty("probe.value") + "]");
        OUT.println("env[" + System.getenv("PROBE") + "]");
        OUT.println("path[" + System.getProperty("java.class.path") + "]");
        OUT.println("pid[" + System.getProperty("application.processid") + "]");
        OUT.println("directory[" + System.getProperty("user.dir") + "]");
        String[] action = System.getProperty("probe.do", "return").split(":");
        switch (action[0]) {
            case "exit":
                System.exit(Integer.parseInt(action[1]));
                break;
            case "throw":
                throw new IllegalStateException("thrown on purpose");
            case "thread":
                new Thread(Probe::endLater).start();
                break;
            case "wait":
                STOPPED.await();
                break;
            default:
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

    private static void endLater() {
        try {
            Thread.sleep(300);
        } catch (InterruptedException e) {
            throw new IllegalStateException(e);
        }
        OUT.println("thread ends");
    }

    /** Cannot be initialised. */
    public static final class Failing {
        static final int VALUE = Integer.parseInt("no number");

        public static void main(String[] args) {}
    }
}
