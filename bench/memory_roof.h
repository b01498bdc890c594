// How fast this machine's memory can be read and copied at all.
#pragma once

#include "operations.h"

// Reads the rows with the widest loads that there are.
void readRows(const std::vector<RowSpan>& spans);

void copyRows(const RowSpan& from, unsigned char* to);
