#ifndef VESK_TEMPLATES_PLATFORM_TWEAK_PROPERTY_TABLE_H
#define VESK_TEMPLATES_PLATFORM_TWEAK_PROPERTY_TABLE_H

#include "templates/platform/TweakProperties.h"

namespace vesk::templates::platform {

// Every setting of the runtime and of the sibling tools that share its settings files, ended by a
// row with a null key. Most rows are carried along for those tools and not read here.
extern const TweakPropertyEntry kTweakPropertyTable[];

}  // namespace vesk::templates::platform

#endif
