// VXCSoftCodecIO.h - the whole public interface of the library.
#pragma once

#include "extra/DataExtraProcess.h"
#include "filehandle/CallerFileFunctions.h"
#include "filehandle/DiskFaultTable.h"
#include "frame/Export.h"
#include "frame/PlatformTypes.h"
#include "frame/Settings.h"
#include "frame/SoftDataIO.h"
#include "frame/Status.h"
#include "frame/Types.h"
#include "frame/VXCString.h"
#include "module/LibInfo.h"
#include "sources/DiskProbes.h"
#include "sources/GrowingArrays.h"
#include "sources/MoreFileToOpen.h"
#include "sources/PullDataSourceArray.h"
#include "sources/SoftDataSourceArray.h"
