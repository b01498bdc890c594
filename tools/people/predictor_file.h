#pragma once

#include <dlib/image_processing/shape_predictor.h>

// Reads a predictor of 68 landmarks as dlib stores it. dlib believes what a file says of sizes and
// indices; here they are checked, so that a damaged file cannot make it read elsewhere. Throws
// dlib::serialization_error with a reason for people.
dlib::shape_predictor readPredictor(const char* path);
