package lifecycle;

import java.lang.management.ManagementFactory;
import java.util.concurrent.CountDownLatch;

/**
 * An application whose start, end and stop the tests look at: the first argument says what it
 * does.
 */
public final class Lifecycle {
    private static final CountDownLatch STOPPED = new CountDownLatch(1);
    private static Thread mainThread;

    private Lifecycle() {}

    public static void main(String[] args) throws Exception {
        mainThread = Thread.currentThread();
        Runtime.getRuntime().addShutdownHook(new Thread(() -> System.out.println("hook")));
        switch (args[0]) {
            case "join":
                new Thread(() -> awaitEndOfMain("joined main")).start();
                break;
            case "options":
                ManagementFactory.getRuntimeMXBean().getInputArguments().forEach(
                    System.out::println);
                break;
            case "recurse":
                System.out.println(depth() > 1_000_000 ? "deep" : "shallow");
                break;
            case "wait":
                System.out.println("ready");
                STOPPED.await();
                break;
            case "fail":
                System.out.println("ready");
                STOPPED.await();
                throw new IllegalStateException("thrown on purpose");
            case "linger":
                new Thread(() -> {
                    awaitEndOfMain("ready");
                    awaitStop();
                }).start();
                break;
            default:
                throw new IllegalArgumentException(args[0]);
        }
    }

    public static void shutdown() {
        System.out.println("stop");
        STOPPED.countDown();
    }

    /** Goes on after main has returned. */
    public static void slowStop() throws InterruptedException {
        STOPPED.countDown();
        mainThread.join();
        Thread.sleep(200);
        System.out.println("slow stop ends");
    }

    public static void stuckStop() throws InterruptedException {
        System.out.println("stuck");
        new CountDownLatch(1).await();
    }

    public static void failingStop() {
        throw new IllegalStateException("failing stop");
    }

    private static void awaitEndOfMain(String thenPrinted) {
        try {
            mainThread.join();
        } catch (InterruptedException e) {
            return;
        }
        System.out.println(thenPrinted);
    }

    private static void awaitStop() {
        try {
            STOPPED.await();
        } catch (InterruptedException e) {
            return;
        }
    }

    private static long depth = 0;

    private static void recurse() {
        ++depth;
        recurse();
    }

    private static long depth() {
        try {
            recurse();
        } catch (StackOverflowError e) {
            return depth;
        }
        return 0;
    }
}
