#ifndef VESK_GENICAM_IMPL_VESK_GENICAM_DUMP_H
#define VESK_GENICAM_IMPL_VESK_GENICAM_DUMP_H

#include <cstddef>
#include <iosfwd>
#include <string>

#include "genapi/GenApi.h"

// The camera parameter dump: a text of "name=value" lines written by a walk of the category tree
// from "Root", and read back line by line.
namespace vesk::genicam {

// Told of each line applied: the feature's name and whether its value was taken.
// A dump has a line per feature, some ten thousand at the most; a larger file is not loaded.
constexpr size_t kMaxDumpFileSize = 16 << 20;

using RestoreReport = void (*)(void* userData, const std::string& name, bool ok);

// False only for a null map; a feature that cannot be read becomes a comment line. Categories
// that list themselves, or nest deeper than 64 levels, raise GenICam::RuntimeException.
bool dumpCameraParameters(std::ostream& stream, GenApi::CNodeMapRef* nodeMap);
void dumpNode(GenApi::INode* node, std::ostream& stream);
// Applies the lines in their order, once. A line is refused for an unknown name, a value that
// does not fit, a zero byte, or a missing line end (a file cut short), and logged with its number;
// strict: false at the first refused line. A value the node refuses raises its GenICam exception
// through this function.
bool restoreCameraParameters(std::istream& stream, GenApi::CNodeMapRef* nodeMap, bool strict,
                             void* userData, RestoreReport reportCallback);
bool restoreNodeValue(GenApi::INode* node, const std::string& text, bool onlyIfChanged);

}  // namespace vesk::genicam

#endif
