// Uses the installed library: strings, a message and a failure.  Each header
// is reached under CommonVcZq/, with only the installed include folder on the
// include path; the umbrella header <CommonVcZq.h> is the tour's.
#include <CommonVcZq/frame/exception.h>
#include <CommonVcZq/text/messages.h>
#include <CommonVcZq/text/string.h>

#include <stdio.h>

int main() {
    String name("settings.cfg");
    String copy = name;
    String message(BuildString(18000, copy.c_str()));
    try {
        ExceptionThrower(0).SetAndThrow(message, String(FindString(18012)), 2);
    } catch (const Exception &e) {
        printf("caught: %s (%s), code %u\n", e.message->c_str(), e.detail->c_str(), e.code);
        return e.code == 2 && *e.detail == "File error" ? 0 : 1;
    }
    return 1;
}
