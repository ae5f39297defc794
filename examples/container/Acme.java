import java.util.List;
import java.util.concurrent.CountDownLatch;

/** Runs until it is told to stop; "fail" ends with status 3, "orphan" leaves a process behind. */
public final class Acme {
    private static final CountDownLatch stop = new CountDownLatch(1);

    private Acme() {}

    public static void main(String[] args) throws Exception {
        Runtime.getRuntime().addShutdownHook(
            new Thread(() -> System.out.println("acme was shut down")));
        System.out.println("heap " + (Runtime.getRuntime().maxMemory() >> 20) + " MiB");
        System.out.println("acme is process " + ProcessHandle.current().pid());
        if (List.of(args).contains("fail"))
            System.exit(3);
        if (List.of(args).contains("orphan")) {
            new ProcessBuilder("/bin/sh", "-c", "sleep 0.2 & exit 0").start().waitFor();
        }
        stop.await();
        System.out.println("acme has stopped");
    }

    /** The stop method: called on a thread of its own while main goes on. */
    public static void shutdown() {
        stop.countDown();
    }
}
