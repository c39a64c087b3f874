// Messages by numeric id, looked up once and kept for the life of the
// library.
//
// FindCachedString gives the text of a message id as FindString does (see
// text/messages.h), but the first call for an id files the text in a
// process-wide cache, and every later call returns a reference to that very
// String without a lookup or an allocation.  A cached text never changes
// and never goes away before the library is unloaded: an id that had no
// text stays empty, and naming a localised module later with
// NotifyLocalizedStringDll does not change what was cached.
//
// Any thread may call FindCachedString; a lock guards the cache.  The
// returned String may be read, and copied, on any thread without a lock:
// the bodies of cached texts are pinned, so copies of them never write to
// a shared count.
//
// CachedString is the element of that cache: a text and its id, hashed and
// compared by the id.
#ifndef CVZ_TEXT_MESSAGE_CACHE_H
#define CVZ_TEXT_MESSAGE_CACHE_H

#include <stdint.h>

#include "CommonVcZq/collections/hash_list.h"
#include "CommonVcZq/frame/api.h"
#include "CommonVcZq/text/string.h"

class CVZ_API CachedString : public HashListElement {
public:
    // Id 0 and an empty text: the form of the cache's search key.
    CachedString() : id(0) {}
    CachedString(unsigned int id, const char *text) : text(text), id(id) {}
    ~CachedString() override;

    // This element's id less `other`'s, as a signed difference; `mode` is
    // not read.
    int32_t Compare(const CollectionElement &other, int mode) const override;
    // The id.
    uint32_t GetHashedValue() const override;

    const String &GetText() const { return text; }
    unsigned int GetId() const { return id; }
    void SetId(unsigned int newId) { id = newId; }

private:
    String text;
    unsigned int id;
};

// The text of message `id`, from the cache; the reference stays valid until
// the library is unloaded.
CVZ_API const String &FindCachedString(unsigned int id);

#endif
