# find_package(VeskGenICam) gives the imported target VeskGenICam::vesk_genicam: the library and
# its public headers (#include <vesk_genicam/vesk_genicam.h>).
include(${CMAKE_CURRENT_LIST_DIR}/VeskGenICamTargets.cmake)
