// Export.h - which names leave the two shared libraries and the plug-ins of the server, and how.
//
// Everything is compiled with hidden visibility; what a caller may use carries one of these two marks.
#pragma once

#if defined(_WIN32)
#if defined(VXCSOFTCODECIO_BUILD)
#define VXCSOFTCODECIO_API __declspec(dllexport)
#else
#define VXCSOFTCODECIO_API __declspec(dllimport)
#endif
#if defined(VXCSOFTCODECSYSU_BUILD)
#define VXCSOFTCODECSYSU_API __declspec(dllexport)
#else
#define VXCSOFTCODECSYSU_API __declspec(dllimport)
#endif
#define VXC32PLUG_EXPORT extern "C" __declspec(dllexport)
#else
#define VXCSOFTCODECIO_API __attribute__((visibility("default")))
#define VXCSOFTCODECSYSU_API __attribute__((visibility("default")))
#define VXC32PLUG_EXPORT extern "C" __attribute__((visibility("default")))
#endif
