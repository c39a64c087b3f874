// The data tools' module globals, internal to the library.  They come into
// being in frame/load_sequence.cpp, in the order of the load sequence.
#ifndef CVZ_TOOLS_GLOBALS_H
#define CVZ_TOOLS_GLOBALS_H

// The randomizer the library shares, seeded from the tick count at load.
// No lock guards it: threads that draw at once may see the same value.
class Randomizer;
extern Randomizer _defaultRandomizer;

#endif
