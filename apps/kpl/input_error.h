// The one failure of the document side: something that a person handed in can't be used.
//
// The text is complete as it stands: which file, what is wrong with it, at which byte where that helps, and
// what to do about it. A program prints it behind its own name and leaves with a non-zero exit.
#ifndef SC3XX_APPS_KPL_INPUT_ERROR_H
#define SC3XX_APPS_KPL_INPUT_ERROR_H

#include <stdexcept>

namespace sc3xx {

class InputError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

}  // namespace sc3xx

#endif  // SC3XX_APPS_KPL_INPUT_ERROR_H
