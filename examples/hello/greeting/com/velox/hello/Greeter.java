package com.velox.hello;

/** Lives in a jar of its own, which only the class path brings together with the application. */
public final class Greeter {
    private Greeter() {}

    public static String greet(String who) {
        return "Hello, " + who + "!";
    }
}
