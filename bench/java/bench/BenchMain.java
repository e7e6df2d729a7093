package bench;

/**
 * Plain java's way of hosting the same service: main runs start, and SIGTERM runs a shutdown
 * hook that calls stop and lets start return before the JVM halts, as the other hosts do.
 */
public final class BenchMain {
    private static final Object lock = new Object();
    private static boolean startReturned;

    private BenchMain() {}

    // A named class rather than a lambda: a lambda's first use bootstraps invokedynamic, a cost
    // the other hosts never pay.
    private static final class StopHook extends Thread {
        private final String[] args;

        StopHook(String[] args) {
            super("bench-stop-hook");
            this.args = args;
        }

        @Override
        public void run() {
            BenchService.stop(args);
            synchronized (lock) {
                while (!startReturned) {
                    try {
                        lock.wait();
                    } catch (InterruptedException e) {
                        return;
                    }
                }
            }
        }
    }

    public static void main(String[] args) throws Exception {
        Runtime.getRuntime().addShutdownHook(new StopHook(args));
        try {
            BenchService.start(args);
        } finally {
            synchronized (lock) {
                startReturned = true;
                lock.notifyAll();
            }
        }
    }
}
