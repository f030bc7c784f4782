#ifndef VESK_LOADER_EXPORT_H
#define VESK_LOADER_EXPORT_H

// The build hides every symbol; this marks the few that form the library's interface.
#define VESK_EXPORT __attribute__((visibility("default")))

#endif
