#include "loader/vesk_hal.h"
#include "sim/device/cxp/BootstrapRegisters.h"
