#pragma once

#include "Host/Linux/Volumes/VolumePicture.h"
#include "Host/VolumeOperations.h"

namespace Ondrel::Host {

/// The volume operations over these sources.
VolumeOperations MakeVolumeOperations(const VolumeSources& sources);

}  // namespace Ondrel::Host
