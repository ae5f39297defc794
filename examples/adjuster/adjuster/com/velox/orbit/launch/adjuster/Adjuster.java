package com.velox.orbit.launch.adjuster;

import static java.nio.charset.StandardCharsets.UTF_8;

import java.io.IOException;
import java.nio.file.Files;
import java.nio.file.Path;
import java.nio.file.Paths;

/**
 * Called by the launcher as "-wrapper -file PATH" before it uses PATH. Ends with status 0 when the
 * adjusted copy is written, with 65 when there is nothing to adjust.
 */
public final class Adjuster {
    private static final int NOTHING_TO_ADJUST = 65;

    private Adjuster() {}

    public static void main(String[] args) throws IOException {
        Path file = Paths.get(args[2]);
        String text = new String(Files.readAllBytes(file), UTF_8);
        String adjusted = text.replace("colour=grey", "colour=green");
        if (adjusted.equals(text)) {
            System.exit(NOTHING_TO_ADJUST);
        }
        Files.write(Paths.get(file + ".adj"), adjusted.getBytes(UTF_8));
    }
}
