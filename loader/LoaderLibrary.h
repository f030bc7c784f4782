#ifndef VESK_LOADER_LOADER_LIBRARY_H
#define VESK_LOADER_LOADER_LIBRARY_H

#include <cstdio>
#include <cstdlib>
#include <memory>
#include <type_traits>
#include <utility>

#include "loader/GuardedSingleton.h"
#include "loader/LibraryInitController.h"
#include "loader/LibraryLoader.h"

namespace vesk::loader {

// The entry table of a library, from lists of X(absence, result, name, parameters, arguments):
// one slot per entry point, typed after its declaration, and its lookup by name.
#define VESK_LOADER_ENTRY_SLOT(absence, result, name, parameters, arguments) decltype(&::name) name;
#define VESK_LOADER_ENTRY_RESOLVE(absence, result, name, parameters, arguments) \
  entries.name =                                                                \
      reinterpret_cast<decltype(&::name)>(vesk::loader::LibraryLoader::Symbol(library, #name));

// What a forwarding stub answers while its library cannot be loaded.
enum class Absence { kStatus, kIndex, kNull };

template <class Result>
Result AbsentResult(Absence absence, int status) {
  if constexpr (std::is_pointer_v<Result>) {
    return nullptr;
  } else {
    switch (absence) {
      case Absence::kStatus:
        return static_cast<Result>(status);
      case Absence::kIndex:
        return static_cast<Result>(-1);
      case Absence::kNull:
        break;
    }
    return Result{};
  }
}

// A board runtime library opened once and its entry points. Traits gives kName ("vesk_hal"),
// kInit and kDeinit (called once per load when both exist), the Entries table and its
// Resolve(const LibraryHandle&).
template <class Traits>
class LoaderLibraryInitSingleton {
 public:
  using Entries = typename Traits::Entries;

  LoaderLibraryInitSingleton() = default;
  ~LoaderLibraryInitSingleton() {
    if (deinit_) deinit_();
    LibraryLoader::Close(std::move(library_));
  }
  LoaderLibraryInitSingleton(const LoaderLibraryInitSingleton&) = delete;
  LoaderLibraryInitSingleton& operator=(const LoaderLibraryInitSingleton&) = delete;

  void Build() {
    library_ = LibraryLoader::Open(Traits::kName);
    if (!library_) return;
    auto init = reinterpret_cast<int (*)()>(LibraryLoader::Symbol(*library_, Traits::kInit));
    auto deinit = reinterpret_cast<void (*)()>(LibraryLoader::Symbol(*library_, Traits::kDeinit));
    if (init && deinit) {
      init();
      deinit_ = deinit;
    }
    entries_ = Traits::Resolve(*library_);
  }

  // Null while the library is not loaded.
  const Entries* GetEntries() const { return library_ ? &entries_ : nullptr; }

 private:
  std::unique_ptr<LibraryHandle> library_;
  void (*deinit_)() = nullptr;
  Entries entries_{};
};

// The use count, the singleton and the stub helpers of one library.
template <class Traits>
class LoaderLibrary {
 public:
  using Entries = typename Traits::Entries;

  // Takes a use and makes sure the library is loaded.
  void Open() {
    uses_.AddUser();
    GetEntries();
  }
  // Gives a use back; the last one unloads the library.
  void Close() { uses_.RemoveUser(); }

  // Loads the library on first use; null while it cannot be loaded.
  const Entries* GetEntries() {
    return singleton_.Get(&LoaderLibrary::RegisterBuilt)->GetEntries();
  }

  uint32_t GetUseCount() const { return uses_.GetUseCount(); }

  // Runs create with a use taken. An object that create makes keeps the library loaded: the use
  // is kept when the result is not null and given back at once when it is.
  template <class Create>
  auto CreateWithUse(Create create) -> decltype(create(std::declval<const Entries&>())) {
    Open();
    const Entries* entries = GetEntries();
    auto made = entries ? create(*entries) : nullptr;
    if (!made) Close();
    return made;
  }

  // Runs release, then gives back the use that the object's creation kept. A release that fails
  // (a negative status) ended no object, so no use is given back for it.
  template <class Release>
  int ReleaseWithUse(Release release, int absentStatus) {
    const Entries* entries = GetEntries();
    if (!entries) return absentStatus;
    const int status = release(*entries);
    if (status >= 0) Close();
    return status;
  }

  // A present library that lacks an entry point is a broken installation: say which and stop,
  // rather than jump through null.
  template <class Function>
  static Function Require(Function function, const char* name) {
    if (!function) {
      std::fprintf(stderr, "vesk_genicam: lib%s.so has no entry point %s\n", Traits::kName, name);
      std::abort();
    }
    return function;
  }

  static LoaderLibrary& Get() {
    static LoaderLibrary library;
    return library;
  }

 private:
  static void RegisterBuilt(GuardedSingletonBase* singleton) { Get().uses_.Register(singleton); }

  LibraryInitController uses_;
  GuardedSingleton<LoaderLibraryInitSingleton<Traits>> singleton_;
};

}  // namespace vesk::loader

#endif
