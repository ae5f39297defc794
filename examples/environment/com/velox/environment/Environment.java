package com.velox.environment;

/** Prints the exported environment variables, and that the launch is still one process. */
public final class Environment {
    private Environment() {}

    public static void main(String[] args) {
        for (String name : new String[] {"GREETING", "LD_LIBRARY_PATH"}) {
            System.out.println(name + "=" + System.getenv(name));
        }
        boolean same = System.getProperty("application.processid")
                           .equals(Long.toString(ProcessHandle.current().pid()));
        System.out.println("same process: " + same);
    }
}
