#ifndef VESK_SIM_CORE_EXPORT_H
#define VESK_SIM_CORE_EXPORT_H

// The build hides every symbol; this marks the C functions that the runtime libraries offer.
#define VSIM_EXPORT extern "C" __attribute__((visibility("default")))

#endif
