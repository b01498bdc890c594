package org.kelvane;

/** What a face detector found: section 6 of kelvane.h says how much each part counts. */
public final class Face {
    /** Whether the eyes are open; the values are those of kelvane.h. */
    public enum Eyes { UNKNOWN, OPEN, CLOSED }

    /** How much the face smiles; the values are those of kelvane.h. */
    public enum Smile { UNKNOWN, NONE, SMILE, BROAD }

    static final int LARGEST_CODE = 16;

    final Rect rect;
    final int code;
    final Eyes eyes;
    final Smile smile;

    /** @param rect inside the frame
     *  @param code 0 to 16, of which 13 to 16 count against the frame */
    public Face(Rect rect, int code, Eyes eyes, Smile smile) {
        this.rect = Check.notNull(rect, "rect");
        Check.that(code >= 0 && code <= LARGEST_CODE, "code", code + " is not 0 to 16");
        this.code = code;
        this.eyes = Check.notNull(eyes, "eyes");
        this.smile = Check.notNull(smile, "smile");
    }

    public Face(Rect rect) {
        this(rect, 0, Eyes.UNKNOWN, Smile.UNKNOWN);
    }
}
