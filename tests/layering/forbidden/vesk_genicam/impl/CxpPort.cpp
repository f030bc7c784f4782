#include "vesk_genicam/impl/GbePortBase.h"
#include "vesk_genicam/impl/ClhsPort.h"
