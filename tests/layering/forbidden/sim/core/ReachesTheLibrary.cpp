#include "vesk_genicam/impl/Utility.h"
