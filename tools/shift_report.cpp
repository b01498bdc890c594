#include "shift_report.h"

#include "text.h"

namespace {

std::string percent(double share) { return fixed(100 * share, 1) + " %"; }

std::string verdict(const ShiftFit& fit) {
    if (fit.atLimit)
        return "The search ended at its limit: the true shift may be larger, or there is none.\n";
    return fit.fits ? "The shift fits.\n"
                    : "The shift does not fit: something else than a shift (a turn, a large "
                      "object, another scene) tells these pictures apart, or it is too large.\n";
}

} // namespace

std::string shiftText(Shift shift, const ShiftFit& fit) {
    const std::string pair = pairText(shift.dx, shift.dy);
    return "Shift of B against A: " + pair + "; pixel p of B shows what pixel p + " + pair +
           " of A shows.\nEqual bits: " + percent(fit.agreement) +
           " of the overlap; without the shift " + percent(fit.agreementUnshifted) + ".\n" +
           verdict(fit);
}

OrderedJson shiftJson(Shift shift, const ShiftFit& fit) {
    return {{"dx", shift.dx},
            {"dy", shift.dy},
            {"agreement", fit.agreement},
            {"agreement_unshifted", fit.agreementUnshifted},
            {"at_limit", fit.atLimit},
            {"fits", fit.fits}};
}
