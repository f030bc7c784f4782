// Any buffer that a camera hands over goes through the reader: directory walk, local header
// and inflate must stay inside it whatever the bytes say.
#include <cstddef>
#include <cstdint>

#include "vesk_genicam/impl/ZipReader.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  CZipReader reader(vesk::templates::container::ManagedDataArray::Copy(data, size));
  if (!reader.HasFiles()) return 0;
  // The ports take entry 0; entry 1 reaches the walk's second step on hand-made directories.
  for (uint32_t index = 0; index < 2; ++index) {
    CZipReader::DataArrayPtr file = reader.GetFile(index);
    if (file) {
      // Touch both ends so that a wrong size shows under the sanitizers.
      volatile char sink = file->data[0];
      sink = file->data[file->size];
      (void)sink;
    }
  }
  return 0;
}
