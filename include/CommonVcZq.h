// CommonVcZq: the whole library in one include.
#ifndef COMMONVCZQ_H
#define COMMONVCZQ_H

#include "CommonVcZq/frame/api.h"
#include "CommonVcZq/frame/exception.h"
#include "CommonVcZq/frame/frame.h"
#include "CommonVcZq/frame/heap.h"
#include "CommonVcZq/platform/application.h"
#include "CommonVcZq/qx_vc/qx_heap.h"

#include "CommonVcZq/text/message_cache.h"
#include "CommonVcZq/text/messages.h"
#include "CommonVcZq/text/regexp.h"
#include "CommonVcZq/text/string.h"
#include "CommonVcZq/text/text_functions.h"

#include "CommonVcZq/collections/array_base.h"
#include "CommonVcZq/collections/cell_sequence.h"
#include "CommonVcZq/collections/collection.h"
#include "CommonVcZq/collections/double_list.h"
#include "CommonVcZq/collections/double_list_of_ptr.h"
#include "CommonVcZq/collections/hash_list.h"

#include "CommonVcZq/files/file.h"
#include "CommonVcZq/files/file_cache.h"
#include "CommonVcZq/files/file_name.h"
#include "CommonVcZq/files/file_scanner.h"
#include "CommonVcZq/files/mapped_file.h"
#include "CommonVcZq/files/multi_file_buffer.h"

#include "CommonVcZq/config/config.h"

#include "CommonVcZq/selector/file_selector.h"

#include "CommonVcZq/threads/locks.h"
#include "CommonVcZq/threads/thread.h"
#include "CommonVcZq/threads/timer.h"

#include "CommonVcZq/tools/checksums.h"
#include "CommonVcZq/tools/memory_stream.h"
#include "CommonVcZq/tools/randomizer.h"

#include "CommonVcZq/undo/undoable.h"

#endif
