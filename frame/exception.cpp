// Failure records and their raising.
//
// Each text of a record is a String object of its own on the string heap,
// allocated through String::operator new.  When the heap has no room for the
// object, `new` gives null and the text is simply absent: a record can still
// be raised when memory is short.
#include "CommonVcZq/frame/exception.h"

#include "frame/globals.h"
#include "platform/win32.h"
#include "CommonVcZq/text/messages.h"
#include "CommonVcZq/text/string.h"

namespace {

const uint32_t kNoThread = 0xFFFFFFFFu;

// A new String object for a text, or null for a null or empty text.
String *NewText(const char *text) {
    return text && *text ? new String(text) : nullptr;
}

// A new String object that shares the body of `text`, or null for an empty
// text.
String *ShareText(const String &text) {
    return text.IsEmpty() ? nullptr : new String(text);
}

String *CopyText(const String *text) {
    return text ? new String(*text) : nullptr;
}

}  // namespace

// --------------------------------------------------------------- AException

AException::AException(const String &text) : text(new String(text)) {}

AException::AException(const AException &other) : text(CopyText(other.text)) {}

AException::~AException() {
    delete text;
}

AException &AException::operator=(const AException &other) {
    if (this != &other) {
        delete text;
        text = CopyText(other.text);
    }
    return *this;
}

void AException::raise() const {
    throw AException(*this);
}

// ---------------------------------------------------------------- Exception

Exception::Exception() : AException(_defaultAException), code(0), drive(0), message(nullptr), detail(nullptr) {}

Exception::Exception(const char *message) : Exception() {
    SetTexts(message, nullptr);
}

Exception::Exception(const String &message) : Exception() {
    this->message = ShareText(message);
}

Exception::Exception(const char *message, const char *detail) : Exception() {
    SetTexts(message, detail);
}

Exception::Exception(const String &message, const String &detail) : Exception() {
    this->message = ShareText(message);
    this->detail = ShareText(detail);
}

Exception::Exception(const char *message, uint32_t code) : Exception() {
    SetTexts(message, nullptr);
    this->code = code;
}

Exception::Exception(const String &message, uint32_t code) : Exception() {
    this->message = ShareText(message);
    this->code = code;
}

Exception::Exception(const char *message, const char *detail, uint32_t code) : Exception() {
    SetTexts(message, detail);
    this->code = code;
}

Exception::Exception(const String &message, const String &detail, uint32_t code) : Exception() {
    this->message = ShareText(message);
    this->detail = ShareText(detail);
    this->code = code;
}

Exception::Exception(const Exception &other)
    : AException(other), code(other.code), drive(other.drive), message(nullptr), detail(nullptr) {
    CopyTexts(other);
}

Exception::~Exception() {
    ReleaseTexts();
}

Exception &Exception::operator=(const Exception &other) {
    if (this != &other) {
        AException::operator=(other);
        code = other.code;
        drive = other.drive;
        ReleaseTexts();
        CopyTexts(other);
    }
    return *this;
}

void Exception::NotifyPostHandle(uint32_t handle) {
    _postHandle = handle;
}

void Exception::SetTexts(const char *message, const char *detail) {
    this->message = NewText(message);
    this->detail = NewText(detail);
}

void Exception::CopyTexts(const Exception &other) {
    message = CopyText(other.message);
    detail = CopyText(other.detail);
}

void Exception::ReleaseTexts() {
    delete message;
    delete detail;
    message = nullptr;
    detail = nullptr;
}

// --------------------------------------------------------- ExceptionThrower

ExceptionThrower::ExceptionThrower(int post) : threadId(kNoThread), window(0) {
    if (post) {
        if (_postHandle)
            window = _postHandle;
        else
            threadId = _mainThreadId;
    }
}

ExceptionThrower &ExceptionThrower::operator=(const ExceptionThrower &other) {
    threadId = other.threadId;
    window = other.window;
    return *this;
}

void ExceptionThrower::Raise(const Exception &e) {
    if (threadId == kNoThread && window == 0)
        throw Exception(e);

    // Posted: the receiver owns the copy and ends it with delete.  A post
    // that fails has no receiver, so the copy goes at once.
    Exception *copy = new Exception(e);
    BOOL posted;
    if (threadId != kNoThread) {
        posted = PostThreadMessageA(threadId, WM_EXCEPTION, 0, reinterpret_cast<LPARAM>(copy));
    } else {
        // Window handles are 32-bit values, sign-extended on 64-bit Windows.
        HWND target = reinterpret_cast<HWND>(static_cast<intptr_t>(static_cast<int32_t>(window)));
        posted = PostMessageA(target, WM_EXCEPTION, 0, reinterpret_cast<LPARAM>(copy));
    }
    if (!posted)
        delete copy;
}

void ExceptionThrower::SetAndThrow() {
    Raise(Exception());
}

void ExceptionThrower::SetAndThrow(const Exception &e) {
    Raise(e);
}

void ExceptionThrower::SetAndThrow(const char *message) {
    Raise(Exception(message));
}

void ExceptionThrower::SetAndThrow(const String &message) {
    SetAndThrow(message.c_str());
}

void ExceptionThrower::SetAndThrow(ResMess message) {
    String text(FindString(message.id));
    SetAndThrow(text);
}

void ExceptionThrower::SetAndThrow(const char *message, const char *detail) {
    Raise(Exception(message, detail));
}

void ExceptionThrower::SetAndThrow(const String &message, const String &detail) {
    SetAndThrow(message.c_str(), detail.c_str());
}

void ExceptionThrower::SetAndThrow(ResMess message, ResMess detail) {
    String messageText(FindString(message.id));
    String detailText(FindString(detail.id));
    SetAndThrow(messageText, detailText);
}

void ExceptionThrower::SetAndThrow(const char *message, uint32_t code) {
    Raise(Exception(message, code));
}

void ExceptionThrower::SetAndThrow(const String &message, uint32_t code) {
    SetAndThrow(message.c_str(), code);
}

void ExceptionThrower::SetAndThrow(ResMess message, uint32_t code) {
    String text(FindString(message.id));
    SetAndThrow(text, code);
}

void ExceptionThrower::SetAndThrow(const char *message, const char *detail, uint32_t code) {
    Raise(Exception(message, detail, code));
}

void ExceptionThrower::SetAndThrow(const String &message, const String &detail, uint32_t code) {
    SetAndThrow(message.c_str(), detail.c_str(), code);
}

void ExceptionThrower::SetAndThrow(ResMess message, ResMess detail, uint32_t code) {
    String messageText(FindString(message.id));
    String detailText(FindString(detail.id));
    SetAndThrow(messageText, detailText, code);
}
