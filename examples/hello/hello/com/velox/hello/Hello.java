package com.velox.hello;

/** Prints what the launcher handed over. */
public final class Hello {
    private Hello() {}

    public static void main(String[] args) {
        System.out.println(Greeter.greet(System.getProperty("hello.who", "nobody")));
        System.out.println("maximum heap: " + (Runtime.getRuntime().maxMemory() >> 20) + " MiB");
        System.out.println("properties file: " + System.getProperty("wrapper.kvf.file"));
        for (int i = 0; i < args.length; i++) {
            System.out.println("argument " + (i + 1) + ": [" + args[i] + "]");
        }
    }
}
