// The message cache: FindCachedString and its element, CachedString.
//
// The cache, its search key and its lock are globals of the load sequence
// (frame/load_sequence.cpp).  Every search and insertion happens under the
// lock; elements are never removed before unload, so a reference handed out
// stays valid without it.
#include "CommonVcZq/text/message_cache.h"

#include "text/globals.h"
#include "CommonVcZq/text/messages.h"
#include "CommonVcZq/threads/locks.h"

CachedString::~CachedString() {}

int32_t CachedString::Compare(const CollectionElement &other, int) const {
    return static_cast<int32_t>(id - static_cast<const CachedString &>(other).id);
}

uint32_t CachedString::GetHashedValue() const {
    return id;
}

const String &FindCachedString(unsigned int id) {
    AutoCriticalSection guard(_messageCacheLock);
    _messageCacheProbe.SetId(id);
    if (HashListElement *found = _messageCache.FindHashed(_messageCacheProbe))
        return static_cast<CachedString *>(found)->GetText();

    char buffer[2048];
    FindString(buffer, id);
    CachedString *cached = new CachedString(id, buffer);
    // All threads share the text from now on: its count must stay still.
    // The load sequence unpins it again before the cache ends.
    PinStringBody(cached->GetText());
    _messageCache.AddHashed(cached);
    return cached->GetText();
}
