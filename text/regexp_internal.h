// Internal: switches for the tests of RegularExp.
#ifndef CVZ_TEXT_REGEXP_INTERNAL_H
#define CVZ_TEXT_REGEXP_INTERNAL_H

#include "CommonVcZq/frame/api.h"

// With `on` false, Find tries every position in turn, as with no prefilter,
// so that tests can set its results against those with the prefilter.  On
// by default.  Not for use while other threads search.
CVZ_API void SetRegexpPrefilterForTesting(bool on);

#endif
