// Loads the library, works with strings, messages and failures, and exits.
// At unload the string heap reports how it ends; a clean run must leave no
// block in it.  With the argument "leak" one body is kept on purpose, to show
// that the report sees it.
#include <stdio.h>
#include <string.h>

#include "CommonVcZq/frame/exception.h"
#include "CommonVcZq/text/messages.h"
#include "CommonVcZq/text/string.h"

static void ReportEnd(const QX_Heap &heap) {
    if (strcmp(heap.GetName(), "StringHeap") == 0) {
        printf("StringHeap ended with %u blocks and %llu bytes\n", heap.GetBlockCount(),
               static_cast<unsigned long long>(heap.GetByteCount()));
        fflush(stdout);
    }
}

int main(int argc, char **argv) {
    QX_Heap::SetEndObserver(ReportEnd);
    {
        String a("hello");
        String b = a;
        b = "world";
        String empty;
        empty.Clear();
        String number(12345);
        String message(FindString(18008));
        try {
            ExceptionThrower(0).SetAndThrow(ResMess(18000), ResMess(18012), 3);
        } catch (const Exception &e) {
            String copy = *e.message;
        }
        String *onHeap = LoadAndAdoptString(18012);
        delete onHeap;
        printf("worked with %s, %s, %s and \"%s\"\n", a.c_str(), b.c_str(), number.c_str(), message.c_str());
    }
    if (argc > 1 && strcmp(argv[1], "leak") == 0) {
        // A SubString that no String takes over keeps its body for ever.
        SubString kept = SubString::Create("kept on purpose", 15);
        printf("keeping \"%s\"\n", kept.c_str());
    }
    return 0;
}
