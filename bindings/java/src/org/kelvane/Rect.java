package org.kelvane;

/** A rectangle in pixels; right and bottom are exclusive. */
public final class Rect {
    public final int left;
    public final int top;
    public final int right;
    public final int bottom;

    public Rect(int left, int top, int right, int bottom) {
        this.left = left;
        this.top = top;
        this.right = right;
        this.bottom = bottom;
    }

    public int width() {
        return right - left;
    }

    public int height() {
        return bottom - top;
    }

    boolean isInside(int width, int height) {
        return left >= 0 && top >= 0 && left < right && top < bottom && right <= width && bottom <= height;
    }

    @Override
    public boolean equals(Object other) {
        if (!(other instanceof Rect))
            return false;
        Rect rect = (Rect) other;
        return left == rect.left && top == rect.top && right == rect.right && bottom == rect.bottom;
    }

    @Override
    public int hashCode() {
        return ((left * 31 + top) * 31 + right) * 31 + bottom;
    }

    @Override
    public String toString() {
        return width() + " x " + height() + " at (" + left + ", " + top + ")";
    }
}
