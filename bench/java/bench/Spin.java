package bench;

import java.util.Arrays;

/** Prints the milliseconds of one round of work in the steady state. */
public final class Spin {
    private static final int ROUNDS = 60;
    private static final int WARM_UP = 20;

    public static void main(String[] arguments) {
        long[] times = new long[ROUNDS];
        long sum = 0;
        for (int round = 0; round < ROUNDS; round++) {
            long start = System.nanoTime();
            sum += primesBelow(2_000_000);
            times[round] = System.nanoTime() - start;
        }
        long[] steady = Arrays.copyOfRange(times, WARM_UP, ROUNDS);
        Arrays.sort(steady);
        System.out.println(steady[steady.length / 2] / 1e6);
        if (sum == 0)
            throw new AssertionError();
    }

    private static int primesBelow(int limit) {
        boolean[] composite = new boolean[limit];
        int count = 0;
        for (int i = 2; i < limit; i++) {
            if (composite[i])
                continue;
            count++;
            for (long j = (long) i * i; j < limit; j += i) composite[(int) j] = true;
        }
        return count;
    }
}
