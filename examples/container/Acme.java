import com.sun.net.httpserver.HttpServer;
import java.net.InetSocketAddress;
import java.util.List;
import java.util.concurrent.CountDownLatch;

/**
 * Runs until it is told to stop, and with "--port N" answers on that port; "fail" ends with status
 * 3, "orphan" leaves a process behind.
 */
public final class Acme {
    private static final CountDownLatch stop = new CountDownLatch(1);

    private Acme() {}

    public static void main(String[] arguments) throws Exception {
        List<String> args = List.of(arguments);
        Runtime.getRuntime().addShutdownHook(
            new Thread(() -> System.out.println("acme was shut down")));
        System.out.println("heap " + (Runtime.getRuntime().maxMemory() >> 20) + " MiB");
        System.out.println(
            "acme " + String.join(" | ", args) + " is process " + ProcessHandle.current().pid());
        if (args.contains("fail"))
            System.exit(3);
        if (args.contains("orphan")) {
            new ProcessBuilder("/bin/sh", "-c", "sleep 0.2 & exit 0").start().waitFor();
        }
        int port = args.indexOf("--port") + 1;
        if (port > 0)
            serve(Integer.parseInt(args.get(port)));
        stop.await();
        System.out.println("acme has stopped");
        System.exit(0);
    }

    /** The stop method: called on a thread of its own while main goes on. */
    public static void shutdown() {
        stop.countDown();
    }

    /** Every request is answered with "fine". */
    private static void serve(int port) throws Exception {
        HttpServer server = HttpServer.create(new InetSocketAddress(port), 0);
        server.createContext("/", exchange -> {
            System.out.println("asked for " + exchange.getRequestURI());
            byte[] answer = "fine\n".getBytes();
            exchange.sendResponseHeaders(200, answer.length);
            exchange.getResponseBody().write(answer);
            exchange.close();
        });
        server.start();
        System.out.println("acme listens");
    }
}
