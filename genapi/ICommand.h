#ifndef VESK_GENAPI_ICOMMAND_H
#define VESK_GENAPI_ICOMMAND_H

#include "genapi/IValue.h"

namespace GenApi {

class ICommand : virtual public IValue {
 public:
  virtual void Execute(bool verify = true) = 0;
  // True once the camera has finished the command: its register no longer holds the command
  // value. A command whose register cannot be read is done at once.
  virtual bool IsDone(bool verify = true) = 0;

  void operator()() { Execute(); }
};

}  // namespace GenApi

#endif
