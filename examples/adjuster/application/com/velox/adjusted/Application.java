package com.velox.adjusted;

/** Prints the property that the adjuster changes. */
public final class Application {
    private Application() {}

    public static void main(String[] args) {
        System.out.println("colour: " + System.getProperty("colour"));
        System.out.println("properties file: " + System.getProperty("wrapper.kvf.file"));
    }
}
