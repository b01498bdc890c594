package org.kelvane;

/** What a burst's ranking chose. */
public final class Pick {
    /** The frame with the highest score. */
    public final int best;

    private final int[] kept;

    Pick(int best, int[] kept) {
        this.best = best;
        this.kept = kept;
    }

    /** The frames to keep, ascending; the best one is among them. */
    public int[] kept() {
        return kept.clone();
    }
}
