// CommonVcZq: the whole library in one include.
#ifndef COMMONVCZQ_H
#define COMMONVCZQ_H

#include "frame/api.h"
#include "frame/exception.h"
#include "frame/frame.h"
#include "frame/heap.h"
#include "platform/application.h"
#include "qx_vc/qx_heap.h"

#include "text/messages.h"
#include "text/regexp.h"
#include "text/string.h"

#include "collections/cell_sequence.h"
#include "collections/collection.h"

#include "threads/locks.h"

#include "tools/checksums.h"
#include "tools/randomizer.h"

#endif
