#include "vesk_genicam/impl/Framing.h"
