// features, get, set, exec, dump, load: a camera's features through its node map.
#include <stdlib.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <map>
#include <thread>

#include <vesk_genicam/vesk_genicam.h>

#include "Board.h"
#include "Commands.h"
#include "Failure.h"
#include "FeatureTree.h"
#include "Table.h"

namespace vesk::tool {

namespace {

constexpr auto kCommandWait = std::chrono::seconds(2);

std::string FeatureCall(const char* call, const CameraName& name, const std::string& feature,
                        const std::string& value = "") {
  return std::string(call) + "(" + name.Text() + ", " + feature +
         (value.empty() ? "" : ", " + value) + ")";
}

// A camera connected through its node map, with its features as its XML declares them.
class ConnectedCamera {
 public:
  ConnectedCamera(const CameraName& name, bool progress) : name_(name), board_(name.board) {
    camera_ = board_.Camera(name, progress);
    Check(Mlo_connectCamera(camera_), "Mlo_connectCamera(" + name.Text() + ")");
    size_t size = 0;
    Check(Mlo_getGenICamXML(camera_, nullptr, &size), "Mlo_getGenICamXML(" + name.Text() + ")");
    std::string xml(size, '\0');
    Check(Mlo_getGenICamXML(camera_, xml.data(), &size), "Mlo_getGenICamXML(" + name.Text() + ")");
    tree_ = std::make_unique<FeatureTree>(std::move(xml));
  }
  ~ConnectedCamera() { Mlo_disconnectCamera(camera_); }
  ConnectedCamera(const ConnectedCamera&) = delete;
  ConnectedCamera& operator=(const ConnectedCamera&) = delete;

  MloCameraHandle* Handle() const { return camera_; }
  const CameraName& Name() const { return name_; }
  const FeatureTree& Tree() const { return *tree_; }
  // A feature the XML does not have is taken as an integer, so that the library names the fault.
  Feature Describe(const std::string& feature) const {
    const Feature* found = tree_->Find(feature);
    return found ? *found : Feature{feature, FeatureKind::Integer, "", 0, {}};
  }

 private:
  CameraName name_;
  Board board_;
  MloCameraHandle* camera_ = nullptr;
  std::unique_ptr<FeatureTree> tree_;
};

struct Reading {
  int code = 0;
  const char* call = "";
  Json value;
};

Reading ReadValue(MloCameraHandle* camera, const Feature& feature) {
  const char* name = feature.name.c_str();
  Reading reading;
  switch (feature.kind) {
    case FeatureKind::Integer: {
      int64_t value = 0;
      reading = {Mlo_getIntegerValue(camera, name, &value), "Mlo_getIntegerValue", value};
      break;
    }
    case FeatureKind::Float: {
      double value = 0;
      reading = {Mlo_getFloatValue(camera, name, &value), "Mlo_getFloatValue", value};
      break;
    }
    case FeatureKind::Boolean: {
      unsigned value = 0;
      reading = {Mlo_getBooleanValue(camera, name, &value), "Mlo_getBooleanValue", value != 0};
      break;
    }
    case FeatureKind::Enumeration: {
      const char* value = nullptr;
      reading = {Mlo_getEnumerationValueAsString(camera, name, &value),
                 "Mlo_getEnumerationValueAsString", value};
      break;
    }
    case FeatureKind::String: {
      const char* value = nullptr;
      reading = {Mlo_getStringValue(camera, name, &value), "Mlo_getStringValue", value};
      break;
    }
    case FeatureKind::Command: {
      unsigned done = 0;
      reading = {Mlo_isCommandDone(camera, name, &done), "Mlo_isCommandDone", done != 0};
      break;
    }
    case FeatureKind::Category:
    case FeatureKind::Other:
      break;
  }
  if (reading.code != 0) reading.value = Json();
  return reading;
}

// Access modes as the library's parameter dump shows them: "name=value" can be written back,
// "#name=value" is read only (a command: executable), a bare "#name" cannot be read now.
std::map<std::string, std::string> AccessModes(const ConnectedCamera& camera) {
  char path[] = "/tmp/vesk-genicam-dump-XXXXXX";
  const int fd = mkstemp(path);
  if (fd < 0) UsageError(std::string("cannot make a temporary file: ") + std::strerror(errno));
  close(fd);
  const int saved = Mlo_SaveCameraParameters(camera.Handle(), path);
  std::ifstream dump(path);
  unlink(path);
  Check(saved, "Mlo_SaveCameraParameters(" + camera.Name().Text() + ")");
  std::map<std::string, std::string> modes;
  for (std::string line; std::getline(dump, line);) {
    const bool comment = !line.empty() && line[0] == '#';
    const size_t equals = line.find('=');
    const std::string name =
        line.substr(comment ? 1 : 0,
                    equals == std::string::npos ? std::string::npos : equals - (comment ? 1 : 0));
    if (name.empty() || name.find(' ') != std::string::npos) continue;
    if (equals == std::string::npos) {
      modes[name] = "NA";
    } else if (!comment) {
      modes[name] = "RW";
    } else {
      modes[name] = camera.Describe(name).kind == FeatureKind::Command ? "RW" : "RO";
    }
  }
  return modes;
}

std::string AccessOf(const std::map<std::string, std::string>& modes, const Reading& reading,
                     const std::string& name) {
  if (reading.code == MLO_ERR_FEATURE_READ_ONLY || reading.code == MLO_ERR_FEATURE_WRITE_ONLY)
    return "WO";
  const auto found = modes.find(name);
  return found == modes.end() ? "-" : found->second;
}

Json FeatureNode(const ConnectedCamera& camera, const Feature& feature, int maxVisibility,
                 const std::map<std::string, std::string>& modes);

// A category with its shown features; null when none is shown.
Json CategoryNode(const ConnectedCamera& camera, const Feature& category, int maxVisibility,
                  const std::map<std::string, std::string>& modes) {
  Json children = Json::MakeArray();
  for (const std::string& child : category.children) {
    const Feature* feature = camera.Tree().Find(child);
    if (!feature || feature->visibility > maxVisibility) continue;
    Json node = FeatureNode(camera, *feature, maxVisibility, modes);
    if (!node.IsNull()) children.Add(node);
  }
  if (children.Items().empty()) return Json();
  Json node = Json::MakeObject();
  node.Set("name", category.name).Set("type", "Category").Set("features", children);
  return node;
}

Json FeatureNode(const ConnectedCamera& camera, const Feature& feature, int maxVisibility,
                 const std::map<std::string, std::string>& modes) {
  if (feature.kind == FeatureKind::Category)
    return CategoryNode(camera, feature, maxVisibility, modes);
  const Reading reading = ReadValue(camera.Handle(), feature);
  Json node = Json::MakeObject();
  node.Set("name", feature.name).Set("type", KindName(feature.kind));
  if (feature.kind != FeatureKind::Command) node.Set("value", reading.value);
  node.Set("unit", feature.unit.empty() ? Json() : Json(feature.unit))
      .Set("access", AccessOf(modes, reading, feature.name));
  return node;
}

std::string ValueText(const Json& node) {
  if (node["type"].Text() == "Command") return "(command)";
  std::string text = node["value"].Text();
  if (!node["unit"].IsNull()) text += " " + node["unit"].Text();
  return text;
}

void AddRows(const Json& category, size_t depth, Table& table) {
  for (const Json& node : category["features"].Items()) {
    const std::string indent(2 * depth, ' ');
    if (node["type"].Text() == "Category") {
      table.Add({indent + node["name"].Text()});
      AddRows(node, depth + 1, table);
    } else {
      table.Add({indent + node["name"].Text(), ValueText(node), node["access"].Text(),
                 node["type"].Text()});
    }
  }
}

int64_t ParseInteger(const std::string& feature, const std::string& text) {
  errno = 0;
  char* end = nullptr;
  const long long value = std::strtoll(text.c_str(), &end, 0);
  if (text.empty() || *end != '\0' || errno == ERANGE)
    UsageError(feature + ": '" + text + "' is not an integer");
  return value;
}

double ParseFloat(const std::string& feature, const std::string& text) {
  char* end = nullptr;
  const double value = std::strtod(text.c_str(), &end);
  if (text.empty() || *end != '\0' || !std::isfinite(value))
    UsageError(feature + ": '" + text + "' is not a number");
  return value;
}

unsigned ParseBoolean(const std::string& feature, const std::string& text) {
  if (text == "1" || text == "true" || text == "on") return 1;
  if (text == "0" || text == "false" || text == "off") return 0;
  UsageError(feature + ": '" + text + "' is not true or false");
}

// Writes text to the feature by its kind; returns the code and the call.
std::pair<int, const char*> WriteValue(MloCameraHandle* camera, const Feature& feature,
                                       const std::string& text) {
  const char* name = feature.name.c_str();
  switch (feature.kind) {
    case FeatureKind::Integer:
      return {Mlo_setIntegerValue(camera, name, ParseInteger(name, text)), "Mlo_setIntegerValue"};
    case FeatureKind::Float:
      return {Mlo_setFloatValue(camera, name, ParseFloat(name, text)), "Mlo_setFloatValue"};
    case FeatureKind::Boolean:
      return {Mlo_setBooleanValue(camera, name, ParseBoolean(name, text)), "Mlo_setBooleanValue"};
    case FeatureKind::Enumeration:
      return {Mlo_setEnumerationValue(camera, name, text.c_str()), "Mlo_setEnumerationValue"};
    case FeatureKind::String:
      return {Mlo_setStringValue(camera, name, text.c_str()), "Mlo_setStringValue"};
    case FeatureKind::Command:
      UsageError(feature.name + " is a command: run it with exec");
    case FeatureKind::Category:
    case FeatureKind::Other:
      break;
  }
  UsageError(feature.name + " is a " + KindName(feature.kind) + " and has no value to set");
}

Json ValueReport(const ConnectedCamera& camera, const Feature& feature) {
  const Reading reading = ReadValue(camera.Handle(), feature);
  Check(reading.code, FeatureCall(reading.call, camera.Name(), feature.name));
  Json data = Json::MakeObject();
  data.Set("camera", camera.Name().Text())
      .Set("feature", feature.name)
      .Set("type", KindName(feature.kind))
      .Set("value", reading.value)
      .Set("unit", feature.unit.empty() ? Json() : Json(feature.unit));
  return data;
}

void PrintValue(const Json& data) {
  std::string text = data["value"].Text();
  if (!data["unit"].IsNull()) text += " " + data["unit"].Text();
  std::puts(text.c_str());
}

}  // namespace

int Features(Arguments& args, Context& context) {
  const bool all = args.Flag("--all");
  const CameraName name = CameraName::Parse(args.Operand("CAMERA"));
  args.Done();
  ConnectedCamera camera(name, context.Progress());
  const auto modes = AccessModes(camera);
  Json tree = CategoryNode(camera, camera.Tree().Root(), all ? 3 : 1, modes);
  Json data = Json::MakeObject();
  data.Set("camera", name.Text())
      .Set("features", tree.IsNull() ? Json::MakeArray() : tree["features"]);
  context.Report(data, [](const Json& report) {
    Table table;
    AddRows(report, 0, table);
    table.Print();
  });
  return 0;
}

int Get(Arguments& args, Context& context) {
  const CameraName name = CameraName::Parse(args.Operand("CAMERA"));
  const std::string feature = args.Operand("FEATURE");
  args.Done();
  ConnectedCamera camera(name, context.Progress());
  const Feature described = camera.Describe(feature);
  if (described.kind == FeatureKind::Category || described.kind == FeatureKind::Other)
    UsageError(feature + " is a " + KindName(described.kind) + " and has no value");
  context.Report(ValueReport(camera, described), PrintValue);
  return 0;
}

int Set(Arguments& args, Context& context) {
  const CameraName name = CameraName::Parse(args.Operand("CAMERA"));
  const std::string feature = args.Operand("FEATURE");
  const std::string value = args.Operand("VALUE");
  args.Done();
  ConnectedCamera camera(name, context.Progress());
  const Feature described = camera.Describe(feature);
  const auto [code, call] = WriteValue(camera.Handle(), described, value);
  Check(code, FeatureCall(call, name, feature, value));
  context.Report(ValueReport(camera, described), PrintValue);
  return 0;
}

int Exec(Arguments& args, Context& context) {
  const CameraName name = CameraName::Parse(args.Operand("CAMERA"));
  const std::string command = args.Operand("COMMAND");
  args.Done();
  ConnectedCamera camera(name, context.Progress());
  Check(Mlo_executeCommand(camera.Handle(), command.c_str()),
        FeatureCall("Mlo_executeCommand", name, command));
  unsigned done = 0;
  const auto until = std::chrono::steady_clock::now() + kCommandWait;
  for (;;) {
    Check(Mlo_isCommandDone(camera.Handle(), command.c_str(), &done),
          FeatureCall("Mlo_isCommandDone", name, command));
    if (done || std::chrono::steady_clock::now() >= until) break;
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
  }
  Json data = Json::MakeObject();
  data.Set("camera", name.Text()).Set("command", command).Set("done", done != 0);
  context.Report(data, [](const Json& report) {
    std::printf("%s: %s\n", report["command"].Text().c_str(),
                report["done"].Integer() ? "done" : "still running after 2 s");
  });
  return 0;
}

int Dump(Arguments& args, Context& context) {
  const CameraName name = CameraName::Parse(args.Operand("CAMERA"));
  const std::string file = args.Operand("FILE");
  args.Done();
  ConnectedCamera camera(name, context.Progress());
  Check(Mlo_SaveCameraParameters(camera.Handle(), file.c_str()),
        "Mlo_SaveCameraParameters(" + name.Text() + ", " + file + ")");
  Json data = Json::MakeObject();
  data.Set("camera", name.Text()).Set("file", file);
  context.Report(data, [](const Json& report) {
    std::printf("saved the features of %s to %s\n", report["camera"].Text().c_str(),
                report["file"].Text().c_str());
  });
  return 0;
}

int Load(Arguments& args, Context& context) {
  const bool strict = args.Flag("--strict");
  const CameraName name = CameraName::Parse(args.Operand("CAMERA"));
  const std::string file = args.Operand("FILE");
  args.Done();
  ConnectedCamera camera(name, context.Progress());
  const std::string call = "Mlo_LoadCameraParameters(" + name.Text() + ", " + file + ")";
  int result = 0;
  // The one function of the library that lets the camera's refusal out as an exception.
  try {
    result = Mlo_LoadCameraParameters(camera.Handle(), file.c_str(), strict ? 1 : 0);
  } catch (...) {
    CallFailed(call, "the camera refused a value");
  }
  Check(result, call);
  Json data = Json::MakeObject();
  data.Set("camera", name.Text()).Set("file", file).Set("strict", strict);
  context.Report(data, [](const Json& report) {
    std::printf("loaded %s into %s\n", report["file"].Text().c_str(),
                report["camera"].Text().c_str());
  });
  return 0;
}

}  // namespace vesk::tool
