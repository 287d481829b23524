#pragma once

#include <array>

/** The text of a list of frames, shared by its writer and its reader. */
namespace FrameListFormat {

constexpr char header[] = "frame,time_ms,source,capture_us,sequence,camera";
constexpr std::array<const char *, 3> sources{"new", "repeated", "inserted"}; // by FrameList::Source

} // namespace FrameListFormat
