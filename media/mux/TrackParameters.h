#pragma once

#include <string_view>

#include "media/packet/AdtsHeader.h"
#include "media/unit/MediaHeader.h"

struct AVStream;

namespace vms {

/// Makes a container's track one of pictures.
/// @param parameterSets as Annex B; "" = not known
/// @throws MediaError as all here
void DescribePictures(AVStream& track, const MediaUnitHeader& header,
                      std::string_view parameterSets);

/// The same of AAC whose frames come without ADTS headers.
void DescribeAac(AVStream& track, const AacConfig& config);

/// The same of other sound: mono.
void DescribeSound(AVStream& track, const MediaUnitHeader& header);

}  // namespace vms
