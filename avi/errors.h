// Texts of the stored failures of avi::File.
#ifndef RIVULET_AVI_ERRORS_H
#define RIVULET_AVI_ERRORS_H

#include <string>

#include "rivulet/avi.h"

namespace avi::errors {

// The message for 'code'; codes 1 to 3 name 'fileName'. A code with no text of
// its own gives "Unknown error (<code in lower-case hex>)".
std::string message(error_T code, const std::string& fileName);

}  // namespace avi::errors

#endif  // RIVULET_AVI_ERRORS_H
