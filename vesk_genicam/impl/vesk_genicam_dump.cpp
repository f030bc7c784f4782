// The camera parameter dump: features written to a text file and read back.
#include "vesk_genicam/impl/vesk_genicam_dump.h"

#include <algorithm>
#include <exception>
#include <fstream>
#include <locale>
#include <sstream>
#include <string>
#include <vector>

#include "templates/platform/BoundedFile.h"
#include "tools/logging/ClassLogger.h"
#include "vesk_genicam/impl/ApiArguments.h"
#include "vesk_genicam/impl/ApiBoundary.h"
#include "vesk_genicam/impl/ApiCall.h"
#include "vesk_genicam/impl/CameraInterface.h"
#include "vesk_genicam/impl/vesk_genicam.h"

namespace vesk::genicam {

namespace {

constexpr unsigned int kStrict = 0x1;

std::string Trim(const std::string& text) {
  const std::locale& classic = std::locale::classic();
  size_t begin = 0;
  size_t end = text.size();
  while (begin < end && std::isspace(text[begin], classic)) ++begin;
  while (end > begin && std::isspace(text[end - 1], classic)) --end;
  return text.substr(begin, end - begin);
}

// The value of a readable node as the dump writes it; false for a type the dump leaves out.
bool FormatValue(GenApi::INode* node, GenApi::EInterfaceType type, std::ostream& value) {
  switch (type) {
    case GenApi::intfIInteger:
      value << GenApi::CIntegerPtr(node)->GetValue(false, false);
      return true;
    case GenApi::intfIBoolean:
      value << (GenApi::CBooleanPtr(node)->GetValue() ? 1 : 0);
      return true;
    case GenApi::intfICommand:
      value << (GenApi::CCommandPtr(node)->IsDone() ? 1 : 0);
      return true;
    case GenApi::intfIFloat:
      // Six significant digits: a dump does not restore a float exactly.
      value << GenApi::CFloatPtr(node)->GetValue(false, false);
      return true;
    case GenApi::intfIString:
      value << '"' << GenApi::CStringPtr(node)->GetValue() << '"';
      return true;
    case GenApi::intfIEnumeration:
      value
          << GenApi::CEnumEntryPtr(GenApi::CEnumerationPtr(node)->GetCurrentEntry())->GetSymbolic();
      return true;
    default:
      return false;
  }
}

template <class Value>
bool Extract(const std::string& text, Value& value) {
  if (text.empty()) return false;
  std::istringstream in(text);
  // Dumps travel between machines: numbers have the classic form, whatever the global locale.
  in.imbue(std::locale::classic());
  return static_cast<bool>(in >> value);
}

template <class Pointer, class Value>
bool RestoreNumber(GenApi::INode* node, const std::string& text, bool onlyIfChanged) {
  Value value{};
  if (!Extract(text, value)) return false;
  Pointer pointer(node);
  if (onlyIfChanged && pointer->GetValue() == value) return true;
  pointer->SetValue(value, true);
  return true;
}

bool RestoreBoolean(GenApi::INode* node, const std::string& text, bool onlyIfChanged) {
  long value = 0;
  if (!Extract(text, value)) return false;
  GenApi::CBooleanPtr pointer(node);
  if (onlyIfChanged && pointer->GetValue() == (value != 0)) return true;
  pointer->SetValue(value != 0, true);
  return true;
}

bool RestoreCommand(GenApi::INode* node, const std::string& text) {
  long value = 0;
  if (!Extract(text, value)) return false;
  if (value != 0) GenApi::CCommandPtr(node)->Execute(true);
  return true;
}

// Quotes are required and stripped; nothing between them is unescaped.
bool RestoreString(GenApi::INode* node, const std::string& text) {
  if (text.size() < 2 || text.front() != '"' || text.back() != '"') return false;
  GenApi::CStringPtr(node)->SetValue(text.substr(1, text.size() - 2), true);
  return true;
}

bool RestoreEnumeration(GenApi::INode* node, const std::string& text, bool onlyIfChanged) {
  if (text.empty()) return false;
  GenApi::CEnumerationPtr enumeration(node);
  if (onlyIfChanged) {
    GenApi::IEnumEntry* current = enumeration->GetCurrentEntry();
    if (current && current->GetSymbolic() == text) return true;
  }
  GenApi::NodeList_t entries;
  enumeration->GetEntries(entries);
  for (GenApi::INode* entryNode : entries) {
    GenApi::CEnumEntryPtr entry(entryNode);
    if (entry && entry->GetSymbolic() == text) {
      enumeration->SetIntValue(entry->GetValue(), true);
      return true;
    }
  }
  return false;
}

tools::logging::ClassLogger& Logger() {
  static tools::logging::ClassLogger logger{"vesk.genicam.ParameterDump"};
  return logger;
}

std::string NameOf(const std::string& line) { return Trim(line.substr(0, line.find('='))); }

struct Reporter {
  void operator()(const std::string& name, bool ok) const {
    if (callback) callback(userData, name, ok);
  }
  void* userData;
  RestoreReport callback;
};

// Why a line is not applied as it stands; null for a whole line.
const char* Damage(const std::string& line, bool lineEnded) {
  // The node map would read the name or the value only up to the zero.
  if (line.find('\0') != std::string::npos) return "it holds a zero byte";
  if (!lineEnded) return "it has no line end, the file may be cut short";
  return nullptr;
}

// Null once the value of the line is set, else why it is not.
const char* ApplyLine(GenApi::CNodeMapRef* nodeMap, const std::string& line, bool lineEnded,
                      const Reporter& report) {
  const std::string name = NameOf(line);
  const char* damage = Damage(line, lineEnded);
  GenApi::INode* node = damage ? nullptr : nodeMap->_GetNode(name.c_str());
  if (!node) {
    report(name, false);
    return damage ? damage : "no such feature";
  }
  const bool ok = restoreNodeValue(node, Trim(line.substr(line.find('=') + 1)), false);
  report(node->GetName(false), ok);
  return ok ? nullptr : "the value does not fit its feature";
}

// Real category trees are a few levels deep.
constexpr size_t kMaxCategoryDepth = 64;

// The categories from Root to the one being walked. A camera's description may make them a
// cycle, or a chain deeper than the stack: either ends the dump with an error naming the category.
using CategoryPath = std::vector<GenApi::INode*>;

void Enter(GenApi::INode* category, CategoryPath& path) {
  if (std::find(path.begin(), path.end(), category) != path.end()) {
    throw RUNTIME_EXCEPTION("Category '%s' lists itself through its features",
                            category->GetName(false).c_str());
  }
  if (path.size() == kMaxCategoryDepth) {
    throw RUNTIME_EXCEPTION("Category '%s' lies deeper than %zu levels",
                            category->GetName(false).c_str(), kMaxCategoryDepth);
  }
  path.push_back(category);
}

void DumpNode(GenApi::INode* node, std::ostream& stream, CategoryPath& path);

void DumpCategory(GenApi::INode* node, std::ostream& stream, CategoryPath& path) {
  Enter(node, path);
  GenApi::FeatureList_t features;
  GenApi::CCategoryPtr(node)->GetFeatures(features);
  for (GenApi::IValue* feature : features) {
    if (feature) DumpNode(feature->GetNode(), stream, path);
  }
  path.pop_back();
}

// The line of a feature that is no category. Its access mode is read here too: a register
// behind it may fail like the value's own.
std::string FeatureLine(GenApi::INode* node, GenApi::EInterfaceType type, const std::string& name) {
  const GenApi::EAccessMode access = node->GetAccessMode();
  if (access != GenApi::RO && access != GenApi::RW) return "#" + name + "\n";
  std::ostringstream value;
  value.imbue(std::locale::classic());  // as the load reads it, whatever the global locale
  if (!FormatValue(node, type, value)) return "# " + name + ": not supported\n";
  // Only what can be written back stands uncommented; a command is run only from a line that
  // someone wrote by hand.
  const bool comment = type == GenApi::intfICommand || access != GenApi::RW;
  return (comment ? "#" : "") + name + "=" + value.str() + "\n";
}

void DumpNode(GenApi::INode* node, std::ostream& stream, CategoryPath& path) {
  if (!node) return;
  const GenApi::EInterfaceType type = node->GetPrincipalInterfaceType();
  const std::string name = node->GetName(false);
  if (type == GenApi::intfICategory) {
    DumpCategory(node, stream, path);
    return;
  }
  try {
    stream << FeatureLine(node, type, name);
  } catch (const GenICam::GenericException& error) {
    stream << "# " << name << ": genicam exception - " << error.GetDescription() << "\n";
  } catch (const std::exception& error) {
    stream << "# " << name << ": exception - " << error.what() << "\n";
  } catch (...) {
    stream << "# " << name << ": unknown exception\n";
  }
}

}  // namespace

bool dumpCameraParameters(std::ostream& stream, GenApi::CNodeMapRef* nodeMap) {
  if (!nodeMap) return false;
  stream << "# --- GenICam parameter dump\n\n";
  GenApi::CNodePtr root = nodeMap->_GetNode("Root");
  GenApi::NodeList_t children;
  root->GetChildren(children, GenApi::ctReadingChildren);
  CategoryPath path{root};
  for (GenApi::INode* child : children) {
    if (child) DumpNode(child, stream, path);
  }
  return true;
}

void dumpNode(GenApi::INode* node, std::ostream& stream) {
  CategoryPath path;
  DumpNode(node, stream, path);
}

bool restoreCameraParameters(std::istream& stream, GenApi::CNodeMapRef* nodeMap, bool strict,
                             void* userData, RestoreReport reportCallback) {
  if (!nodeMap) return false;
  const Reporter report{userData, reportCallback};
  std::string line;
  for (size_t number = 1; std::getline(stream, line); ++number) {
    if (line.empty() || line[0] == '#' || line.find('=') == std::string::npos) continue;
    const char* refused = ApplyLine(nodeMap, line, !stream.eof(), report);
    if (!refused) continue;
    Logger().Line(4, [&] {
      return "Parameter dump line " + std::to_string(number) + " refused, " + refused + ": " +
             NameOf(line);
    });
    if (strict) return false;
  }
  return true;
}

bool restoreNodeValue(GenApi::INode* node, const std::string& text, bool onlyIfChanged) {
  switch (node->GetPrincipalInterfaceType()) {
    case GenApi::intfIInteger:
      return RestoreNumber<GenApi::CIntegerPtr, long>(node, text, onlyIfChanged);
    case GenApi::intfIBoolean:
      return RestoreBoolean(node, text, onlyIfChanged);
    case GenApi::intfICommand:
      return RestoreCommand(node, text);
    case GenApi::intfIFloat:
      return RestoreNumber<GenApi::CFloatPtr, double>(node, text, onlyIfChanged);
    case GenApi::intfIString:
      return RestoreString(node, text);
    case GenApi::intfIEnumeration:
      return RestoreEnumeration(node, text, onlyIfChanged);
    default:
      return false;
  }
}

}  // namespace vesk::genicam

using vesk::genicam::ApiCall;
using vesk::genicam::FormatCamera;
using vesk::templates::platform::BoundedFile;

int Mlo_SaveCameraParameters(MloCameraHandle* camera, const char* file) {
  ApiCall call(__LINE__, "Mlo_SaveCameraParameters", [=] { return FormatCamera(camera); });
  if (!camera) return call.Fail(MLO_ERR_INVALID_BOARD_HANDLE, "Invalid boardHandle");
  auto* cameraInterface = reinterpret_cast<CCameraInterface*>(camera);
  if (!cameraInterface->IsGenicamConnected())
    return call.Fail(MLO_ERR_NO_GENICAM_CONNECTION, "Invalid XML connection ");
  if (!file) return call.Fail(MLO_ERR_INVALID_FILENAME, " Invalid param File Name");
  std::ofstream stream(file, std::ios::out | std::ios::trunc);
  if (!stream) return call.Return(MLO_ERR_INVALID_FILENAME);
  const int code = vesk::genicam::CatchAtBoundary(
      [&](const std::string& message) { call.Fail(MLO_ERR_EXCEPTION, message); },
      [] { return "saving camera parameters"; },
      [&] {
        const bool done =
            vesk::genicam::dumpCameraParameters(stream, cameraInterface->GetCameraNodeMap());
        return done ? 0 : MLO_ERR_EXCEPTION;
      });
  if (code) return call.Return(code);
  // A full disk shows only when the buffer goes out.
  stream.close();
  if (!stream) {
    return call.Fail(MLO_ERR_FILE_ACCESS,
                     "Error saving parameter file '" + std::string(file) + "'");
  }
  return call.Return(0);
}

// Alone among the exported functions this one lets a GenICam exception out: a value that the
// camera refuses ends the load in the caller's catch, in strict and in lax mode.
int Mlo_LoadCameraParameters(MloCameraHandle* camera, const char* file, unsigned int flags) {
  ApiCall call(__LINE__, "Mlo_LoadCameraParameters", [=] { return FormatCamera(camera); });
  if (!camera) return call.Fail(MLO_ERR_INVALID_BOARD_HANDLE, "Invalid boardHandle");
  auto* cameraInterface = reinterpret_cast<CCameraInterface*>(camera);
  if (!cameraInterface->IsGenicamConnected())
    return call.Fail(MLO_ERR_NO_GENICAM_CONNECTION, "Invalid XML connection ");
  if (!file) return call.Fail(MLO_ERR_INVALID_FILENAME, " Invalid param File Name");
  BoundedFile dump = BoundedFile::Read(file, vesk::genicam::kMaxDumpFileSize);
  if (dump.GetStatus() == BoundedFile::Status::kCannotOpen) {
    return call.Return(MLO_ERR_INVALID_FILENAME);
  }
  if (dump.GetStatus() == BoundedFile::Status::kNotRegular) {
    return call.Fail(MLO_ERR_INVALID_FILENAME, dump.Error());
  }
  if (!dump) return call.Fail(MLO_ERR_FILE_ACCESS, dump.Error());
  std::istringstream stream(dump.TakeText());
  const bool done =
      vesk::genicam::restoreCameraParameters(stream, cameraInterface->GetCameraNodeMap(),
                                             flags & vesk::genicam::kStrict, nullptr, nullptr);
  return call.Return(done ? 0 : MLO_ERR_INVALID_FEATURE);
}
