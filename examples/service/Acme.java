import java.util.List;
import java.util.concurrent.CountDownLatch;

/** Runs until it is told to stop; "deep" needs a large stack, "fail" ends with status 3. */
public final class Acme {
    private static final CountDownLatch stop = new CountDownLatch(1);

    private Acme() {}

    public static void main(String[] args) throws InterruptedException {
        System.out.println(
            "acme " + String.join(" ", args) + " is process " + ProcessHandle.current().pid());
        if (List.of(args).contains("deep"))
            System.out.println("depth " + depth(200_000));
        if (List.of(args).contains("fail"))
            System.exit(3);
        stop.await();
        System.out.println("acme has stopped");
    }

    /** The stop method: called on a thread of its own while main goes on. */
    public static void shutdown() {
        stop.countDown();
    }

    private static int depth(int levels) {
        return levels == 0 ? 0 : 1 + depth(levels - 1);
    }
}
