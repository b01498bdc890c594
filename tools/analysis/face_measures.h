#pragma once

#include "base/people.h"

FaceMeasures measureFace(const Landmarks& landmarks);
