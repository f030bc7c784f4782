#ifndef VESK_GENAPI_IMPL_GLIB_LOG_H
#define VESK_GENAPI_IMPL_GLIB_LOG_H

namespace GenApi {

// Sends what Aravis, its XML parser and GLib's object system log to the library's logger
// instead of stderr. Installed once per process; later calls do nothing.
void RouteGLibLogs();
// How many errors the XML parser has reported on this thread so far. Aravis builds a document
// from what it could parse; the count tells whether the text was well-formed.
unsigned int XmlParseErrors();

}  // namespace GenApi

#endif
