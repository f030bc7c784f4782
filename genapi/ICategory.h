#ifndef VESK_GENAPI_ICATEGORY_H
#define VESK_GENAPI_ICATEGORY_H

#include <vector>

#include "genapi/IValue.h"

namespace GenApi {

using FeatureList_t = std::vector<IValue*>;

class ICategory : virtual public IValue {
 public:
  // The features the category lists, in its order.
  virtual void GetFeatures(FeatureList_t& features) = 0;
};

}  // namespace GenApi

#endif
