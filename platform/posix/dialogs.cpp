// Message boxes without a screen.
//
// A Windows message box shows its text and waits for a button.  Here there
// is nothing to show it on and nobody to press a button, so MessageBoxA
// answers at once, by the rule an application chooses beforehand with
// SetMessageBoxAnswer (platform/application.h):
//
// - With a function set, the box's text, caption and style go to it, and
//   its result is the answer if it names a button the box has.
// - Otherwise, or when no function is set, the answer is the box's default
//   button (MB_DEFBUTTON1 to MB_DEFBUTTON3 in the style, counted among the
//   box's buttons; one beyond the last counts as the first, as Windows
//   does), which is what a user who presses Enter gets.
//
// The owner window, the icon and the modality bits are not looked at.  A
// box type that Windows does not know (7 and above) fails with 0 and
// ERROR_INVALID_PARAMETER, as Windows does; a null text or caption is an
// empty one.  The box is also written to the debug channel, one line with
// its caption and text, so that a program run from a terminal shows what
// it would have asked.
#include "platform/win32.h"

#include <atomic>
#include <string>

namespace {

std::atomic<MessageBoxAnswerFunction> answerFunction{nullptr};

// The buttons of each box type, in their order on the box.
struct Buttons {
    int count;
    int ids[3];
};

const Buttons kButtons[] = {
    {1, {IDOK}},                       // MB_OK
    {2, {IDOK, IDCANCEL}},             // MB_OKCANCEL
    {3, {IDABORT, IDRETRY, IDIGNORE}}, // MB_ABORTRETRYIGNORE
    {3, {IDYES, IDNO, IDCANCEL}},      // MB_YESNOCANCEL
    {2, {IDYES, IDNO}},                // MB_YESNO
    {2, {IDRETRY, IDCANCEL}},          // MB_RETRYCANCEL
    {3, {IDCANCEL, IDTRYAGAIN, IDCONTINUE}},  // MB_CANCELTRYCONTINUE
};

}  // namespace

extern "C" {

void SetMessageBoxAnswer(MessageBoxAnswerFunction answer) {
    answerFunction.store(answer);
}

int MessageBoxA(HWND, LPCSTR text, LPCSTR caption, UINT type) {
    const UINT kind = type & MB_TYPEMASK;
    if (kind >= sizeof kButtons / sizeof kButtons[0]) {
        SetLastError(ERROR_INVALID_PARAMETER);
        return 0;
    }
    text = text ? text : "";
    caption = caption ? caption : "";
    OutputDebugStringA((std::string("MessageBoxA: ") + caption + ": " + text + "\n").c_str());

    const Buttons &buttons = kButtons[kind];
    if (MessageBoxAnswerFunction answer = answerFunction.load()) {
        const int chosen = answer(text, caption, type);
        for (int i = 0; i < buttons.count; ++i) {
            if (buttons.ids[i] == chosen)
                return chosen;
        }
    }
    const int defaultButton = static_cast<int>((type & MB_DEFMASK) >> 8);
    return buttons.ids[defaultButton < buttons.count ? defaultButton : 0];
}

}  // extern "C"
