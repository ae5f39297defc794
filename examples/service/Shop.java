import java.lang.reflect.Field;
import java.net.InetSocketAddress;
import java.nio.ByteBuffer;
import java.nio.channels.ServerSocketChannel;
import java.nio.channels.SocketChannel;
import java.util.ArrayList;
import java.util.List;
import sun.misc.Unsafe;

/** A server for the recipes: answers every connection with its process ID and its secret. */
public final class Shop {
    private Shop() {}

    public static void main(String[] args) throws Exception {
        System.out.println("shop " + String.join(" ", args) + " on Java "
            + System.getProperty("java.vm.version") + " " + System.getProperty("java.vm.info"));
        switch (args[0]) {
            case "crash" -> crash();
            case "full" -> fill();
            case "inherited" -> serve((ServerSocketChannel) System.inheritedChannel());
            default -> {
                // What a real one does before it can answer.
                Thread.sleep(Long.parseLong(args[1]));
                serve(ServerSocketChannel.open().bind(
                    new InetSocketAddress("127.0.0.1", Integer.parseInt(args[0]))));
            }
        }
    }

    private static void serve(ServerSocketChannel server) throws Exception {
        System.out.println("shop is open");
        String answer = ProcessHandle.current().pid() + " " + System.getProperty("shop.secret", "");
        while (true) {
            try (SocketChannel client = server.accept()) {
                client.write(ByteBuffer.wrap(answer.getBytes()));
            }
        }
    }

    private static void crash() throws Exception {
        Field field = Unsafe.class.getDeclaredField("theUnsafe");
        field.setAccessible(true);
        ((Unsafe) field.get(null)).putAddress(0, 0);
    }

    private static void fill() {
        List<byte[]> all = new ArrayList<>();
        while (true) all.add(new byte[1 << 20]);
    }
}
