#ifndef VESK_GENAPI_IMPL_DESCRIPTION_TEXT_H
#define VESK_GENAPI_IMPL_DESCRIPTION_TEXT_H

#include <string>

namespace GenApi {

// The camera description with the white space around the text of every element that holds no
// other element taken away. GenICam readers take names and values without it, while Aravis looks
// a pointer's text up as it stands, so that a pretty-printed "<pValue>" names no node.
std::string WithTrimmedValues(const std::string& xml);

// True if anything but a UTF-8 byte order mark comes before the XML declaration, where XML allows
// nothing. A description without a declaration has nothing before it.
bool HasTextBeforeDeclaration(const std::string& xml);

}  // namespace GenApi

#endif
