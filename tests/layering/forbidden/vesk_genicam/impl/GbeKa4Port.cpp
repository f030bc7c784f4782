#include "vesk_genicam/impl/PhyMarvel88E.h"
