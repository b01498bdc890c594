#include "people/predictor_file.h"

#include "people/face_detector.h"

#include <cmath>
#include <fstream>
#include <vector>

namespace {

using Tree = dlib::impl::regression_tree;
using Vector = dlib::vector<float, 2>;
using Shape = dlib::matrix<float, 0, 1>;

constexpr long shapeSize = 2 * static_cast<long>(landmarkCount);

void check(bool sound) {
    if (!sound)
        throw dlib::serialization_error("not a predictor of 68 landmarks, or a damaged one");
}

// A sequence grows as it is read: a wrong length ends at the end of the file, and takes no memory
// beyond what the file has.
template <typename Element, typename Read>
std::vector<Element> readSequence(std::istream& in, Read readElement) {
    unsigned long size = 0;
    dlib::deserialize(size, in);
    std::vector<Element> elements;
    for (unsigned long i = 0; i < size; ++i)
        elements.push_back(readElement(in));
    return elements;
}

float readFloat(std::istream& in) {
    constexpr float largest = 1e6F; // that positions of pixels can be made of
    float value = 0;
    dlib::deserialize(value, in);
    check(std::abs(value) < largest); // false for what is no number
    return value;
}

Shape readShape(std::istream& in) {
    long rows = 0, columns = 0;
    dlib::deserialize(rows, in);
    dlib::deserialize(columns, in);
    check((rows == shapeSize || rows == -shapeSize) && (columns == 1 || columns == -1));
    Shape shape(shapeSize);
    for (float& value : shape)
        value = readFloat(in);
    return shape;
}

dlib::impl::split_feature readSplit(std::istream& in) {
    dlib::impl::split_feature split;
    dlib::deserialize(split.idx1, in);
    dlib::deserialize(split.idx2, in);
    split.thresh = readFloat(in);
    return split;
}

Tree readTree(std::istream& in) {
    Tree tree;
    tree.splits = readSequence<dlib::impl::split_feature>(in, readSplit);
    tree.leaf_values = readSequence<Shape>(in, readShape);
    const size_t leaves = tree.leaf_values.size();
    check(leaves > 0 && (leaves & (leaves - 1)) == 0 && tree.splits.size() + 1 == leaves);
    return tree;
}

std::vector<Tree> readForest(std::istream& in) { return readSequence<Tree>(in, readTree); }

std::vector<unsigned long> readIndices(std::istream& in) {
    return readSequence<unsigned long>(in, [](std::istream& from) {
        unsigned long index = 0;
        dlib::deserialize(index, from);
        check(index < landmarkCount);
        return index;
    });
}

std::vector<Vector> readOffsets(std::istream& in) {
    return readSequence<Vector>(in, [](std::istream& from) {
        const float x = readFloat(from), y = readFloat(from);
        return Vector(x, y);
    });
}

bool refersTo(const std::vector<Tree>& forest, size_t pixels) {
    for (const Tree& tree : forest)
        for (const dlib::impl::split_feature& split : tree.splits)
            if (split.idx1 >= pixels || split.idx2 >= pixels)
                return false;
    return true;
}

} // namespace

dlib::shape_predictor readPredictor(const char* path) {
    std::ifstream in(path, std::ios::binary);
    if (!in)
        throw dlib::serialization_error("cannot be opened");
    int version = 0;
    dlib::deserialize(version, in);
    check(version == 1);
    const Shape shape = readShape(in);
    const auto forests = readSequence<std::vector<Tree>>(in, readForest);
    const auto anchors = readSequence<std::vector<unsigned long>>(in, readIndices);
    auto pixels = readSequence<std::vector<Vector>>(in, readOffsets);
    check(!forests.empty() && forests.size() == anchors.size() && forests.size() == pixels.size());
    for (size_t stage = 0; stage < forests.size(); ++stage) {
        check(anchors[stage].size() == pixels[stage].size());
        check(refersTo(forests[stage], pixels[stage].size()));
        for (size_t i = 0; i < pixels[stage].size(); ++i) // from the landmark that it is stored by
            pixels[stage][i] += dlib::impl::location(shape, anchors[stage][i]);
    }
    return {shape, forests, pixels};
}
