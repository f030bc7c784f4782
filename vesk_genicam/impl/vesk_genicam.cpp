// Library start and stop and the error texts. The exported functions of each group live in
// their own unit beside this one; their trace names this unit as their source.
#include "vesk_genicam/impl/vesk_genicam.h"

#include "loader/LibraryInitController.h"
#include "loader/VeskDsnRtLoader.h"
#include "loader/VeskHalLoader.h"
#include "vesk_genicam/impl/LibraryLogger.h"
#include "vesk_genicam/impl/Utility.h"

namespace {
vesk::loader::LibraryInitController g_libraryInit;
}  // namespace

// Every call opens both libraries once more and registers their closes; the loaders count their
// own uses, so the last deinit closes each library as often as it was opened, design library
// first since the closes run from the front of the list.
void VeskGenICamInit() {
  g_libraryInit.AddUser();
  g_libraryInit.AddCloserAndOpen(VeskHalCloseLibrary, VeskHalOpenLibrary);
  g_libraryInit.AddCloserAndOpen(VeskDsnRtCloseLibrary, VeskDsnRtOpenLibrary);
  vesk::genicam::LibraryLogger().Get();
}

void VeskGenICamDeinit() {
  vesk::genicam::LibraryLogger().Reset();
  g_libraryInit.RemoveUser();
}

const char* Mlo_getErrorDescription(int code) { return CUtility::GetError(code); }
