package example;

import java.io.BufferedWriter;
import java.io.IOException;
import java.nio.charset.StandardCharsets;
import java.nio.file.Files;
import java.nio.file.Path;
import java.nio.file.Paths;
import java.nio.file.StandardOpenOption;
import java.time.LocalDateTime;
import java.time.format.DateTimeFormatter;
import java.util.Map;
import java.util.concurrent.CountDownLatch;
import java.util.concurrent.TimeUnit;

/**
 * A small service for the launcher: it beats once per interval, writing a line to the console
 * (unless the launcher asks it to be quiet) and to the file named by the system property
 * {@code heartbeat.file}, until the launcher calls {@link #stop} or {@link #stopFast}, or until
 * it has beaten as often as its arguments allow.
 *
 * <p>The launcher calls {@code start} on a thread of its own and waits for it to return after
 * calling a stop method, so {@code start} keeps running until then and returns promptly after.
 */
public final class Heartbeat {
    private static final DateTimeFormatter TIME =
            DateTimeFormatter.ofPattern("yyyy-MM-dd HH:mm:ss");

    // One JVM runs one service, so one latch for the life of the class is enough.
    private static final CountDownLatch STOP_REQUESTED = new CountDownLatch(1);
    private static volatile String stopKind = "";

    private Heartbeat() {}

    public static void start(Map<String, Object> properties, String[] args)
            throws IOException, InterruptedException {
        Settings settings = Settings.from(args);
        boolean quiet = Boolean.TRUE.equals(properties.get("quiet"));
        Object root = properties.get("instance.root");
        String file = System.getProperty("heartbeat.file", "");

        try (Beats beats = new Beats(quiet, file.isEmpty() ? null : Paths.get(file))) {
            beats.say("Heartbeat service running: instance " + describe(root) + ", daemon "
                    + properties.get("daemon") + ", one beat every " + settings.intervalMs + " ms");
            long count = 0;
            boolean stopRequested = false;
            while (!stopRequested) {
                count++;
                beats.say("heartbeat " + count + " at " + LocalDateTime.now().format(TIME));
                if (count == settings.limit) {
                    break;
                }
                stopRequested = STOP_REQUESTED.await(settings.intervalMs, TimeUnit.MILLISECONDS);
            }
            beats.say("Heartbeat stopped cleanly after " + count + " beats ("
                    + (stopRequested ? stopKind : "beat limit reached") + ")");
        }
    }

    public static void stop(String[] args) {
        requestStop("stop");
    }

    public static void stopFast(String[] args) {
        requestStop("stopFast");
    }

    private static synchronized void requestStop(String kind) {
        // Only the first request names the kind; a later one finds the loop already ending.
        if (STOP_REQUESTED.getCount() > 0) {
            stopKind = kind;
        }
        STOP_REQUESTED.countDown();
    }

    // The arguments: interval-ms=<milliseconds between beats> and beats=<number of beats
    // after which start returns by itself; 0, the default, beats until stopped. A wrong
    // argument fails the start method, which the launcher reports with its own exit code.
    static final class Settings {
        long intervalMs = 1000;
        long limit = 0;

        static Settings from(String[] args) {
            Settings settings = new Settings();
            for (String arg : args) {
                int equals = arg.indexOf('=');
                String name = equals < 0 ? arg : arg.substring(0, equals);
                if (name.equals("interval-ms")) {
                    settings.intervalMs = number(arg, equals, 1);
                } else if (name.equals("beats")) {
                    settings.limit = number(arg, equals, 0);
                } else {
                    throw new IllegalArgumentException("Unknown argument '" + arg
                            + "', expected interval-ms=<milliseconds> or beats=<count>");
                }
            }
            return settings;
        }

        private static long number(String arg, int equals, long lowest) {
            try {
                long value = Long.parseLong(arg.substring(equals + 1));
                if (value >= lowest) {
                    return value;
                }
            } catch (NumberFormatException e) {
                // Reported below with the argument it came from.
            }
            throw new IllegalArgumentException(
                    "Bad number in '" + arg + "', expected at least " + lowest);
        }
    }

    private static String describe(Object root) {
        return root instanceof Path && !root.toString().isEmpty() ? root.toString() : "(none)";
    }

    // Where the beats go: the console and, when one is named, a file that keeps them across runs.
    private static final class Beats implements AutoCloseable {
        private final boolean quiet;
        private final BufferedWriter file;

        Beats(boolean quiet, Path path) throws IOException {
            this.quiet = quiet;
            this.file = path == null ? null
                    : Files.newBufferedWriter(path, StandardCharsets.UTF_8,
                            StandardOpenOption.CREATE, StandardOpenOption.APPEND);
        }

        void say(String line) throws IOException {
            if (!quiet) {
                System.out.println(line);
            }
            if (file != null) {
                // Flushed at once, so whoever watches the file sees each beat as it happens.
                file.write(line);
                file.newLine();
                file.flush();
            }
        }

        @Override
        public void close() throws IOException {
            if (file != null) {
                file.close();
            }
        }
    }
}
