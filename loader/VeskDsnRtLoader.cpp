#include "loader/VeskDsnRtLoader.h"

#include "loader/Export.h"
#include "loader/LoaderLibrary.h"
#include "loader/dsnrt.h"

using vesk::loader::Absence;
using vesk::loader::AbsentResult;

// Every forwarded operation: what the stub answers without a library, result, name, parameters
// and the arguments passed on. The compiler checks each against dsnrt.h.
#define VESK_DSN_FORWARDED(X)                                                    \
  X(kNull, const char*, DsnGetDesignName, (fpga_design * d), (d))                \
  X(kIndex, int, DsnGetRegisterByName, (fpga_design * d, const char* n), (d, n)) \
  X(kIndex, int, DsnGetNrOfRegister, (fpga_design * d), (d))                     \
  X(kNull, const char*, DsnGetRegisterName, (fpga_design * d, int id), (d, id))

#define VESK_DSN_LIFETIME(X)                                      \
  X(kNull, fpga_design*, DsnLoadBoardDesign, (PLdevice * d), (d)) \
  X(kStatus, int, DsnFreeDesign, (fpga_design * d), (d))

namespace Ns_VeskDsnRt {

struct Traits {
  static constexpr const char* kName = "dsnrt";
  static constexpr const char* kInit = "VeskDsnRtInit";
  static constexpr const char* kDeinit = "VeskDsnRtDeinit";

  struct Entries {
    VESK_DSN_FORWARDED(VESK_LOADER_ENTRY_SLOT)
    VESK_DSN_LIFETIME(VESK_LOADER_ENTRY_SLOT)
  };

  static Entries Resolve(const vesk::loader::LibraryHandle& library) {
    Entries entries{};
    VESK_DSN_FORWARDED(VESK_LOADER_ENTRY_RESOLVE)
    VESK_DSN_LIFETIME(VESK_LOADER_ENTRY_RESOLVE)
    return entries;
  }
};

using Library = vesk::loader::LoaderLibrary<Traits>;

uint32_t GetUseCount() { return Library::Get().GetUseCount(); }

// Unlike the board library's stubs, these test the entry point: a design library of another
// release may lack one.
template <class Function, class... Arguments>
auto CallChecked(Function function, Arguments... arguments) {
  using Result = decltype(function(arguments...));
  if (!function) return AbsentResult<Result>(Absence::kStatus, DSN_ERROR_NO_ENTRY);
  return function(arguments...);
}

}  // namespace Ns_VeskDsnRt

void VeskDsnRtOpenLibrary() { Ns_VeskDsnRt::Library::Get().Open(); }
void VeskDsnRtCloseLibrary() { Ns_VeskDsnRt::Library::Get().Close(); }

#define VESK_STUB(absence, result, name, parameters, arguments)                                \
  extern "C" VESK_EXPORT result name parameters {                                              \
    const Ns_VeskDsnRt::Traits::Entries* entries = Ns_VeskDsnRt::Library::Get().GetEntries();  \
    if (!entries) return AbsentResult<result>(Absence::absence, DSN_ERROR_LIBRARY_NOT_LOADED); \
    return Ns_VeskDsnRt::CallChecked(entries->name, VESK_UNPAREN arguments);                   \
  }
#define VESK_UNPAREN(...) __VA_ARGS__
VESK_DSN_FORWARDED(VESK_STUB)
#undef VESK_STUB

// A loaded design keeps the library loaded until it is freed.
extern "C" VESK_EXPORT fpga_design* DsnLoadBoardDesign(PLdevice* device) {
  return Ns_VeskDsnRt::Library::Get().CreateWithUse(
      [&](const Ns_VeskDsnRt::Traits::Entries& entries) {
        return Ns_VeskDsnRt::CallChecked(entries.DsnLoadBoardDesign, device);
      });
}

extern "C" VESK_EXPORT int DsnFreeDesign(fpga_design* design) {
  return Ns_VeskDsnRt::Library::Get().ReleaseWithUse(
      [&](const Ns_VeskDsnRt::Traits::Entries& entries) {
        return Ns_VeskDsnRt::CallChecked(entries.DsnFreeDesign, design);
      },
      DSN_ERROR_LIBRARY_NOT_LOADED);
}
