#pragma once

#include "base/burst.h"
#include "media/inputs.h"
#include "media/metadata.h"

#include <vector>

// Pictures that were taken as one burst.
struct BurstGroup {
    InputList files;                // in the order of time
    std::vector<CaptureTime> times; // of each
    GroupReason reason = GroupReason::captureTimes;
};

// Splits pictures into bursts, which come in the order of their first pictures. Pictures that share
// a mark of their camera, in their metadata or their names, are one burst, and no other picture is.
// The rest are sorted by time and split where a sequence number starts anew, or where nothing was
// taken for more than `gap` seconds and the numbers do not go on.
std::vector<BurstGroup> groupPictures(const std::vector<InputFile>& files, double gap);

// The same with the metadata of each picture, which are known already.
std::vector<BurstGroup> groupPictures(const std::vector<InputFile>& files,
                                      std::vector<Metadata> metadata, double gap);
