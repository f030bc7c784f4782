#include <cstdint>
#include <mutex>
