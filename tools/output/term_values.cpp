#include "output/term_values.h"

#include <fmt/format.h>

#include <cmath>

std::vector<TermValue> termValues(const Terms& terms) {
    using enum TermValue::Reason;
    const auto number = [](int64_t value) { return static_cast<double>(value); };
    return {{"score", "score", always, number(terms.score)},
            {"share", "share", always, number(terms.share)},
            {"object_score", "object score", objects, number(terms.objectScore)},
            {"object_share", "object share", objects, number(terms.objectShare)},
            {"sharpness", "sharpness", always, number(terms.sharpness)},
            {"object_sharpness", "object sharpness", always, number(terms.objectSharpness)},
            {"faces", "faces", faces, number(terms.faces)},
            {"eyes", "eyes", faces, number(terms.eyes)},
            {"smiles", "smiles", faces, number(terms.smiles)},
            {"codes", "codes", faces, number(terms.codes)},
            {"area", "area", objects, number(terms.area)},
            {"border", "border", objects, static_cast<double>(terms.border)},
            {"constant", "constant", always, number(constantTerm)},
            {"total", "total", always, number(terms.total)}};
}

std::vector<TermValue> usedTermValues(const Burst& burst, size_t frame) {
    std::vector<TermValue> terms = termValues(burst.terms[frame]);
    std::erase_if(terms, [&](const TermValue& term) {
        return (term.reason == TermValue::objects && !(burst.moving && burst.moving->used)) ||
               (term.reason == TermValue::faces && burst.faces.empty());
    });
    return terms;
}

std::string termText(const TermValue& term) {
    return fmt::format("{:.{}f}", term.value, term.value == std::trunc(term.value) ? 0 : 1);
}
