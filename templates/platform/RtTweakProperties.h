#ifndef VESK_TEMPLATES_PLATFORM_RT_TWEAK_PROPERTIES_H
#define VESK_TEMPLATES_PLATFORM_RT_TWEAK_PROPERTIES_H

#include <string>

namespace vesk::templates::platform {

// The runtime's settings. A value comes from the command line, then
// $HOME/.config/vesk/rt.conf, then <installation>/rt.conf, then the environment, then the
// default of its row in kTweakPropertyTable. Every call reads the files again, so read a
// property once, when building the object that needs it.
class RtTweakProperties {
 public:
  RtTweakProperties() = delete;

  // T is bool, int, unsigned int, unsigned short or std::string. Throws std::runtime_error for
  // a key that is not in the table (matched exactly) and if no source converts to T.
  template <class T>
  static T property(const std::string& key, int argc, char** argv);

  // $HOME/.config/vesk/rt.conf, its directories made if missing; empty if HOME is unset or a
  // directory can't be made.
  static std::string localPropertyFilePath();
  // realpath of a path, or the path itself if it can't be resolved.
  static std::string getRealPath(const std::string& path);
};

}  // namespace vesk::templates::platform

#endif
