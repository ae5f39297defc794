package com.velox.orbit.launch.adjuster;

import java.io.IOException;
import java.nio.file.Files;
import java.nio.file.Path;

/**
 * Called by the launcher as "-wrapper -file PATH" before it uses PATH. Ends with status 0 when the
 * adjusted copy is written, with 65 when there is nothing to adjust.
 */
public final class Adjuster {
    private static final int NOTHING_TO_ADJUST = 65;

    private Adjuster() {}

    public static void main(String[] args) throws IOException {
        Path file = Path.of(args[2]);
        String text = Files.readString(file);
        String adjusted = text.replace("colour=grey", "colour=green");
        if (adjusted.equals(text)) {
            System.exit(NOTHING_TO_ADJUST);
        }
        Files.writeString(Path.of(file + ".adj"), adjusted);
    }
}
