// The control functions of the simulated board runtime, found in the board runtime that the
// library loaded. A real runtime has none of them.
#ifndef VESK_APPS_VESK_GENICAM_SIM_RUNTIME_H
#define VESK_APPS_VESK_GENICAM_SIM_RUNTIME_H

#include <string>

namespace vesk::tool {

class SimRuntime {
 public:
  // Needs the board runtime loaded, as a use of the library leaves it.
  SimRuntime();
  ~SimRuntime();
  SimRuntime(const SimRuntime&) = delete;
  SimRuntime& operator=(const SimRuntime&) = delete;

  bool Available() const { return Symbol("VSimGetNrOfBoards") != nullptr; }
  // Ends the command when the runtime is not the simulated one.
  void Require(const std::string& command) const;

  // The function of that name, typed by its declaration: Function<decltype(VSimPlug)>("VSimPlug").
  template <class Signature>
  Signature* Function(const char* name) const {
    return reinterpret_cast<Signature*>(Required(name));
  }
  // Passes a result through; a negative one ends the command with the call and its meaning.
  int Check(int code, const std::string& call) const;

 private:
  void* Symbol(const char* name) const;
  void* Required(const char* name) const;

  void* handle_ = nullptr;
};

#define VSIM_CALL(sim, name) (*(sim).Function<decltype(name)>(#name))

}  // namespace vesk::tool

#endif
