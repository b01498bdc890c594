#pragma once

#include <string>

// What the names of the pictures of one burst share, as phones give them; empty for other names.
// The folder is part of it.
//   00100lPORTRAIT_00100_BURST20200418222652648_COVER.jpg    the time of the burst
//   IMG_20170612_112233_BURST001_COVER.jpg, IMAG0001_BURST2.jpg, 20160101_120000_Burst03.jpg
//   PXL_20210306_140540254.PORTRAIT-01.COVER.jpg             a time, and a number of one or two
//   digits
std::string burstName(const std::string& path);
