package com.acme;

/** The application of the rules' examples. */
public class Main {
    private Main() {}

    public static void main(String[] args) {
        System.out.println("acme runs");
    }

    public static void shutdown() {}
}
