#ifndef VESK_TEMPLATES_CONTAINER_MANAGED_DATA_ARRAY_H
#define VESK_TEMPLATES_CONTAINER_MANAGED_DATA_ARRAY_H

#include <boost/make_shared.hpp>
#include <boost/shared_ptr.hpp>
#include <cstddef>
#include <cstring>

namespace vesk::templates::container {

// A byte buffer that several owners share. One zero byte follows the data, so that text read
// into it can be used as a C string.
struct ManagedDataArray {
  char* data = nullptr;
  size_t size = 0;
  boost::shared_ptr<char[]> bytes;

  // size bytes, all zero.
  static boost::shared_ptr<ManagedDataArray> Create(size_t size) {
    auto array = boost::make_shared<ManagedDataArray>();
    array->bytes = boost::shared_ptr<char[]>(new char[size + 1]());
    array->data = array->bytes.get();
    array->size = size;
    return array;
  }

  static boost::shared_ptr<ManagedDataArray> Copy(const void* source, size_t size) {
    boost::shared_ptr<ManagedDataArray> array = Create(size);
    if (size) std::memcpy(array->data, source, size);
    return array;
  }
};

using ManagedDataArrayPtr = boost::shared_ptr<ManagedDataArray>;

}  // namespace vesk::templates::container

#endif
