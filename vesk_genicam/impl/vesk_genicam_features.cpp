// Camera features by name. One checked lookup serves every function and one template per
// operation covers the simple types, so that the rules of access stand in one place.
#include <functional>
#include <sstream>
#include <string>

#include "genapi/GenApi.h"
#include "vesk_genicam/impl/ApiArguments.h"
#include "vesk_genicam/impl/ApiBoundary.h"
#include "vesk_genicam/impl/ApiCall.h"
#include "vesk_genicam/impl/CameraInterface.h"
#include "vesk_genicam/impl/LibraryLogger.h"
#include "vesk_genicam/impl/vesk_genicam.h"

using vesk::genicam::ApiCall;
using vesk::genicam::CatchAtBoundary;
using vesk::genicam::FormatCamera;

namespace {

using ArgumentFormatter = std::function<std::string()>;

CCameraInterface* Camera(MloCameraHandle* camera) {
  return reinterpret_cast<CCameraInterface*>(camera);
}

std::string Text(const char* text) { return text ? text : ""; }

// A failure line of the helpers below, with the arguments of the exported call they serve.
int Fail(const ArgumentFormatter& formatter, int code, const std::string& message) {
  vesk::tools::logging::WriteThreadLine(vesk::genicam::LibraryLogger().Get(), 5,
                                        [&] { return formatter() + "|" + message; });
  return code;
}

auto Reporter(const ArgumentFormatter& formatter) {
  return [&formatter](const std::string& message) { Fail(formatter, MLO_ERR_EXCEPTION, message); };
}

auto Action(const char* words, const char* feature) {
  return [=] { return words + Text(feature); };
}

std::string FeatureNote(const char* feature) { return "Feature: " + Text(feature); }

template <class V>
std::string SetterNote(const char* feature, V value) {
  std::ostringstream note;
  note << FeatureNote(feature) << "; Value: " << value;
  return note.str();
}

template <>
std::string SetterNote(const char* feature, const char* value) {
  return SetterNote(feature, Text(value));
}

template <class T>
int checkParameterAndGetGenApiPtrType(MloCameraHandle* camera, const char* feature, T* pointer,
                                      ArgumentFormatter argumentFormatter) {
  if (!camera)
    return Fail(argumentFormatter, MLO_ERR_INVALID_CAMERA_HANDLE, "Invalid camera handle");
  if (!feature || !*feature)
    return Fail(argumentFormatter, MLO_ERR_INVALID_FEATURE, "Invalid feature name");
  if (!pointer) return Fail(argumentFormatter, MLO_ERR_INTERNAL, "Invalid value pointer");
  return CatchAtBoundary(Reporter(argumentFormatter), Action("getting feature ", feature), [&] {
    GenApi::CNodeMapRef* nodeMap = Camera(camera)->GetCameraNodeMap();
    if (!nodeMap)
      return Fail(argumentFormatter, MLO_ERR_NO_GENICAM_CONNECTION,
                  "Failed to get camera node map");
    *pointer = nodeMap->_GetNode(GenICam::gcstring(feature));
    if (!pointer->IsValid()) {
      return Fail(argumentFormatter, MLO_ERR_INVALID_FEATURE,
                  "Failed to get feature " + Text(feature));
    }
    return 0;
  });
}

template <class V, class T>
int __impl_Mlo_setGenICamSimpleValue(MloCameraHandle* camera, const char* feature, V value,
                                     ArgumentFormatter formatter) {
  T node;
  if (int code = checkParameterAndGetGenApiPtrType(camera, feature, &node, formatter)) {
    return code;
  }
  return CatchAtBoundary(Reporter(formatter), Action("setting feature ", feature), [&] {
    if (static_cast<GenApi::IBase*>(node)->GetAccessMode() == GenApi::RO) {
      return Fail(formatter, MLO_ERR_FEATURE_READ_ONLY,
                  "Feature " + Text(feature) + " is read only");
    }
    node->SetValue(value, true);
    return 0;
  });
}

// A read of a write-only node answers with the setter's words and code, not
// MLO_ERR_FEATURE_WRITE_ONLY as the enumerations have it.
template <class T>
bool IsWriteOnly(const T& node) {
  return static_cast<GenApi::IBase*>(node)->GetAccessMode() == GenApi::WO;
}

template <class V, class T>
int __impl_Mlo_getGenICamSimpleValue(MloCameraHandle* camera, const char* feature, V* value,
                                     ArgumentFormatter formatter) {
  if (!value) return Fail(formatter, MLO_ERR_INVALID_ARGUMENT, "Invalid value pointer");
  T node;
  if (int code = checkParameterAndGetGenApiPtrType(camera, feature, &node, formatter)) {
    return code;
  }
  return CatchAtBoundary(Reporter(formatter), Action("getting feature ", feature), [&] {
    if (IsWriteOnly(node))
      return Fail(formatter, MLO_ERR_FEATURE_READ_ONLY,
                  "Feature " + Text(feature) + " is read only");
    *value = node->GetValue(false, false);
    return 0;
  });
}

template <class V, class T>
int __impl_Mlo_getGenICamSimpleValueLimits(MloCameraHandle* camera, const char* feature, V* min,
                                           V* max, V* inc, ArgumentFormatter formatter) {
  T node;
  if (int code = checkParameterAndGetGenApiPtrType(camera, feature, &node, formatter)) {
    return code;
  }
  return CatchAtBoundary(Reporter(formatter), Action("getting feature ", feature), [&] {
    if (IsWriteOnly(node))
      return Fail(formatter, MLO_ERR_FEATURE_READ_ONLY,
                  "Feature " + Text(feature) + " is read only");
    *min = node->GetMin();
    *max = node->GetMax();
    *inc = node->GetInc();
    return 0;
  });
}

}  // namespace

int Mlo_setIntegerValue(MloCameraHandle* camera, const char* feature, int64_t value) {
  const ArgumentFormatter arguments = [=] { return FormatCamera(camera); };
  ApiCall call(__LINE__, "Mlo_setIntegerValue", arguments,
               [=] { return SetterNote(feature, value); });
  return call.Return(__impl_Mlo_setGenICamSimpleValue<int64_t, GenApi::CIntegerPtr>(
      camera, feature, value, arguments));
}

int Mlo_getIntegerValue(MloCameraHandle* camera, const char* feature, int64_t* value) {
  const ArgumentFormatter arguments = [=] { return FormatCamera(camera); };
  ApiCall call(__LINE__, "Mlo_getIntegerValue", arguments, [=] { return FeatureNote(feature); });
  return call.Return(__impl_Mlo_getGenICamSimpleValue<int64_t, GenApi::CIntegerPtr>(
      camera, feature, value, arguments));
}

int Mlo_getIntegerValueLimits(MloCameraHandle* camera, const char* feature, int64_t* min,
                              int64_t* max, int64_t* inc) {
  const ArgumentFormatter arguments = [=] { return FormatCamera(camera); };
  ApiCall call(__LINE__, "Mlo_getIntegerValueLimits", arguments,
               [=] { return FeatureNote(feature); });
  if (!min || !max || !inc) return call.Fail(MLO_ERR_INVALID_ARGUMENT, "Invalid value pointer");
  return call.Return(__impl_Mlo_getGenICamSimpleValueLimits<int64_t, GenApi::CIntegerPtr>(
      camera, feature, min, max, inc, arguments));
}

int Mlo_setBooleanValue(MloCameraHandle* camera, const char* feature, unsigned value) {
  const ArgumentFormatter arguments = [=] { return FormatCamera(camera); };
  ApiCall call(__LINE__, "Mlo_setBooleanValue", arguments,
               [=] { return SetterNote(feature, value); });
  return call.Return(__impl_Mlo_setGenICamSimpleValue<bool, GenApi::CBooleanPtr>(
      camera, feature, value != 0, arguments));
}

int Mlo_getBooleanValue(MloCameraHandle* camera, const char* feature, unsigned* value) {
  const ArgumentFormatter arguments = [=] { return FormatCamera(camera); };
  ApiCall call(__LINE__, "Mlo_getBooleanValue", arguments, [=] { return FeatureNote(feature); });
  if (!value) return call.Fail(MLO_ERR_INVALID_ARGUMENT, "Invalid value pointer");
  bool state = false;
  const int code = __impl_Mlo_getGenICamSimpleValue<bool, GenApi::CBooleanPtr>(camera, feature,
                                                                               &state, arguments);
  if (code == 0) *value = state;
  return call.Return(code);
}

int Mlo_setFloatValue(MloCameraHandle* camera, const char* feature, double value) {
  const ArgumentFormatter arguments = [=] { return FormatCamera(camera); };
  ApiCall call(__LINE__, "Mlo_setFloatValue", arguments,
               [=] { return SetterNote(feature, value); });
  return call.Return(__impl_Mlo_setGenICamSimpleValue<double, GenApi::CFloatPtr>(camera, feature,
                                                                                 value, arguments));
}

int Mlo_getFloatValue(MloCameraHandle* camera, const char* feature, double* value) {
  const ArgumentFormatter arguments = [=] { return FormatCamera(camera); };
  ApiCall call(__LINE__, "Mlo_getFloatValue", arguments, [=] { return FeatureNote(feature); });
  return call.Return(__impl_Mlo_getGenICamSimpleValue<double, GenApi::CFloatPtr>(camera, feature,
                                                                                 value, arguments));
}

int Mlo_setStringValue(MloCameraHandle* camera, const char* feature, const char* value) {
  const ArgumentFormatter arguments = [=] { return FormatCamera(camera); };
  ApiCall call(__LINE__, "Mlo_setStringValue", arguments,
               [=] { return SetterNote(feature, value); });
  if (!value) return call.Fail(MLO_ERR_INVALID_ARGUMENT, "Invalid value");
  return call.Return(__impl_Mlo_setGenICamSimpleValue<const char*, GenApi::CStringPtr>(
      camera, feature, value, arguments));
}

int Mlo_getStringValue(MloCameraHandle* camera, const char* feature, const char** value) {
  const ArgumentFormatter arguments = [=] { return FormatCamera(camera); };
  ApiCall call(__LINE__, "Mlo_getStringValue", arguments, [=] { return FeatureNote(feature); });
  if (!camera) return call.Fail(MLO_ERR_INVALID_CAMERA_HANDLE, "Invalid camera handle");
  if (!value) return call.Fail(MLO_ERR_INVALID_ARGUMENT, "Invalid value pointer");
  GenApi::CStringPtr node;
  if (int code = checkParameterAndGetGenApiPtrType(camera, feature, &node, arguments)) {
    return call.Return(code);
  }
  return call.Return(
      CatchAtBoundary(Reporter(arguments), Action("getting string value ", feature), [&] {
        const GenICam::gcstring text = node->GetValue(false, false);
        *value = Camera(camera)->InsertInStringCache(text.c_str());
        return 0;
      }));
}

int Mlo_setEnumerationValue(MloCameraHandle* camera, const char* feature, const char* value) {
  const ArgumentFormatter arguments = [=] { return FormatCamera(camera); };
  ApiCall call(__LINE__, "Mlo_setEnumerationValue", arguments,
               [=] { return SetterNote(feature, value); });
  if (!value) return call.Fail(MLO_ERR_INVALID_ARGUMENT, "Invalid value");
  GenApi::CEnumerationPtr node;
  if (int code = checkParameterAndGetGenApiPtrType(camera, feature, &node, arguments)) {
    return call.Return(code);
  }
  return call.Return(CatchAtBoundary(
      Reporter(arguments),
      [&] { return "setting enum value " + std::string(value) + " in " + feature; },
      // The unexpected case has lost the blank before "in".
      [&] { return "setting enum value " + std::string(value) + "in " + feature; },
      [&] {
        GenApi::IEnumEntry* entry = node->GetEntryByName(value);
        if (!entry) return Fail(arguments, MLO_ERR_INVALID_ARGUMENT, "Invalid enum value");
        // No access test: the node's own exception tells of a read-only feature.
        node->SetIntValue(entry->GetValue(), false);
        return 0;
      }));
}

int Mlo_getEnumerationValue(MloCameraHandle* camera, const char* feature, int64_t* value) {
  const ArgumentFormatter arguments = [=] { return FormatCamera(camera); };
  ApiCall call(__LINE__, "Mlo_getEnumerationValue", arguments,
               [=] { return FeatureNote(feature); });
  if (!value) return call.Fail(MLO_ERR_INVALID_ARGUMENT, "Invalid value pointer");
  GenApi::CEnumerationPtr node;
  if (int code = checkParameterAndGetGenApiPtrType(camera, feature, &node, arguments)) {
    return call.Return(code);
  }
  return call.Return(
      CatchAtBoundary(Reporter(arguments), Action("getting enum value ", feature), [&] {
        if (static_cast<GenApi::IBase*>(node)->GetAccessMode() == GenApi::WO) {
          return Fail(arguments, MLO_ERR_FEATURE_WRITE_ONLY, "Value is write only");
        }
        *value = node->GetIntValue(false, false);
        return 0;
      }));
}

int Mlo_getEnumerationValueAsString(MloCameraHandle* camera, const char* feature,
                                    const char** value) {
  const ArgumentFormatter arguments = [=] { return FormatCamera(camera); };
  ApiCall call(__LINE__, "Mlo_getEnumerationValueAsString", arguments,
               [=] { return FeatureNote(feature); });
  if (!camera) return call.Fail(MLO_ERR_INVALID_CAMERA_HANDLE, "Invalid camera handle");
  if (!value) return call.Fail(MLO_ERR_INVALID_ARGUMENT, "Invalid value pointer");
  GenApi::CEnumerationPtr node;
  if (int code = checkParameterAndGetGenApiPtrType(camera, feature, &node, arguments)) {
    return call.Return(code);
  }
  return call.Return(
      CatchAtBoundary(Reporter(arguments), Action("getting enum value ", feature), [&] {
        if (static_cast<GenApi::IBase*>(node)->GetAccessMode() == GenApi::WO) {
          return Fail(arguments, MLO_ERR_FEATURE_WRITE_ONLY, "Value is write only");
        }
        const GenApi::CEnumEntryPtr entry = node->GetCurrentEntry(false, false);
        if (!entry.IsValid())
          return Fail(arguments, MLO_ERR_INVALID_DATA, "Invalid data in feature");
        *value = Camera(camera)->InsertInStringCache(entry->GetSymbolic().c_str());
        return 0;
      }));
}

int Mlo_executeCommand(MloCameraHandle* camera, const char* feature) {
  const ArgumentFormatter arguments = [=] { return FormatCamera(camera); };
  ApiCall call(__LINE__, "Mlo_executeCommand", arguments, [=] { return FeatureNote(feature); });
  GenApi::CCommandPtr node;
  if (int code = checkParameterAndGetGenApiPtrType(camera, feature, &node, arguments)) {
    return call.Return(code);
  }
  return call.Return(
      CatchAtBoundary(Reporter(arguments), Action("executing command ", feature), [&] {
        node->Execute(true);
        return 0;
      }));
}

int Mlo_isCommandDone(MloCameraHandle* camera, const char* feature, unsigned* done) {
  const ArgumentFormatter arguments = [=] { return FormatCamera(camera); };
  ApiCall call(__LINE__, "Mlo_isCommandDone", arguments, [=] { return FeatureNote(feature); });
  if (!done) return call.Fail(MLO_ERR_INVALID_ARGUMENT, "Invalid value pointer");
  GenApi::CCommandPtr node;
  if (int code = checkParameterAndGetGenApiPtrType(camera, feature, &node, arguments)) {
    return call.Return(code);
  }
  return call.Return(
      CatchAtBoundary(Reporter(arguments), Action("getting command state ", feature), [&] {
        *done = node->IsDone(true) ? 1 : 0;
        return 0;
      }));
}

int Mlo_startAcquisition(MloCameraHandle* camera, unsigned value) {
  ApiCall call(
      __LINE__, "Mlo_startAcquisition", [=] { return FormatCamera(camera); },
      [=] { return "value: " + std::to_string(value); });
  if (!camera) return call.Fail(MLO_ERR_INVALID_CAMERA_HANDLE, "Invalid camera handle");
  CCameraInterface* object = Camera(camera);
  // The link is asked before the port is tested; a camera is never made without a port.
  if (!object->IsTransceiverSynchronized()) {
    return call.Fail(MLO_ERR_PACKET_SIZE_REFUSED, "Tranceiver not sysncronized");
  }
  IPortInterface* port = object->GetPortInterface();
  if (!port) return call.Fail(MLO_ERR_INVALID_CAMERA_HANDLE, "Invalid port handle");
  port->UpdatePreAcquisition();
  return call.Return(Mlo_executeCommand(camera, "AcquisitionStart"));
}

int Mlo_stopAcquisition(MloCameraHandle* camera, unsigned value) {
  ApiCall call(
      __LINE__, "Mlo_stopAcquisition", [=] { return FormatCamera(camera); },
      [=] { return "value: " + std::to_string(value); });
  if (!camera) return call.Fail(MLO_ERR_INVALID_CAMERA_HANDLE, "Invalid camera handle");
  return call.Return(Mlo_executeCommand(camera, "AcquisitionStop"));
}
