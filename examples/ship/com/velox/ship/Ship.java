package com.velox.ship;

/** Shows its arguments and ends with a status of its own. */
public final class Ship {
    private static final int STATUS = 3;

    private Ship() {}

    public static void main(String[] args) {
        for (String arg : args) {
            System.out.println("argument: [" + arg + "]");
        }
        System.exit(STATUS);
    }
}
