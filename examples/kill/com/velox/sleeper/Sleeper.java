package com.velox.sleeper;

/** Sleeps until it is killed; an orderly end runs its shutdown hook. */
public final class Sleeper {
    private Sleeper() {}

    public static void main(String[] args) throws InterruptedException {
        Runtime.getRuntime().addShutdownHook(
            new Thread(() -> System.out.println("application: goodbye")));
        System.out.println("application: ready");
        Thread.sleep(Long.MAX_VALUE);
    }
}
