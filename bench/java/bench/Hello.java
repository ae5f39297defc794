package bench;

public final class Hello {
    public static void main(String[] arguments) {
        System.out.println("hello");
    }

    // What jsvc calls.
    public void init(String[] arguments) {}

    public void start() {
        main(null);
        System.exit(0);
    }

    public void stop() {}

    public void destroy() {}
}
