package probe;

import java.io.FileDescriptor;
import java.io.FileOutputStream;
import java.io.PrintStream;
import java.io.UnsupportedEncodingException;
import java.util.concurrent.CountDownLatch;

/** Tells what reached it, then does what the property "probe.do" says. */
public class Probe {
    private static final PrintStream OUT = utf8(FileDescriptor.out);
    private static final CountDownLatch HALTED = new CountDownLatch(1);

    Probe() {}

    private static PrintStream utf8(FileDescriptor file) {
        try {
            return new PrintStream(new FileOutputStream(file), true, "UTF-8");
        } catch (UnsupportedEncodingException e) {
            throw new IllegalStateException(e);
        }
    }

    public static void main(String[] args) {
        for (String arg : args) {
            OUT.println("arg[" + arg + "]");
        }
        OUT.printf(
            "property[%s]%nenv[%s]%n", System.getProperty("probe.value"), System.getenv("PROBE"));
        OUT.printf("path[%s]%npid[%s]%ndirectory[%s]%n", System.getProperty("java.class.path"),
            System.getProperty("application.processid"), System.getProperty("user.dir"));
        String[] action = System.getProperty("probe.do", "return").split(":");
        switch (action[0]) {
            case "exit":
                System.exit(Integer.parseInt(action[1]));
                break;
            case "throw":
                throw new IllegalStateException("thrown on purpose");
            case "thread":
                Thread main = Thread.currentThread();
                new Thread(() -> outlive(main)).start();
                break;
            default:
        }
        OUT.println("returning");
    }

    /** Ends after the start method has. */
    private static void outlive(Thread main) {
        while (main.getStackTrace().length > 0) {
            Thread.yield();
        }
        OUT.println("thread ends");
    }

    public static void other(String[] args) {
        OUT.println("other start method");
    }

    /** Returns once it is halted. */
    public static void waiting(String[] args) throws InterruptedException {
        HALTED.await();
        OUT.println("returning");
    }

    public static void halt() {
        OUT.println("halted");
        HALTED.countDown();
    }

    public static void shutdown() {}

    public void notStatic(String[] args) {}

    /** Cannot be initialised. */
    public static final class Failing { static final int VALUE = Integer.parseInt("no number"); }
}

/** Has its start method from another class. */
final class Heir extends Probe {}
