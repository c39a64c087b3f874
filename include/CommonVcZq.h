// CommonVcZq: the whole library in one include.
#ifndef COMMONVCZQ_H
#define COMMONVCZQ_H

#include "frame/api.h"
#include "frame/exception.h"
#include "frame/frame.h"
#include "frame/heap.h"
#include "platform/application.h"
#include "qx_vc/qx_heap.h"

#include "text/message_cache.h"
#include "text/messages.h"
#include "text/regexp.h"
#include "text/string.h"
#include "text/text_functions.h"

#include "collections/array_base.h"
#include "collections/cell_sequence.h"
#include "collections/collection.h"
#include "collections/double_list.h"
#include "collections/double_list_of_ptr.h"
#include "collections/hash_list.h"

#include "files/file_name.h"

#include "config/config.h"

#include "threads/locks.h"
#include "threads/thread.h"
#include "threads/timer.h"

#include "tools/checksums.h"
#include "tools/memory_stream.h"
#include "tools/randomizer.h"

#include "undo/undoable.h"

#endif
