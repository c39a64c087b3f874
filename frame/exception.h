// The library's failure records and the object that raises them.
//
// AException is a record with one text.  Exception adds what the library
// reports: a first text (`message`), a second text (`detail`), a numeric
// `code` (in the file layer the platform's last error) and a `drive` index
// for the disk-full failure.  Both are thrown by value; a handler may take an
// Exception as Exception or as AException.  An Exception never holds an
// empty text: a null or empty text leaves the field null.
//
// ExceptionThrower raises a failure.  Built with 0 it throws in the calling
// thread, which is what the library itself always does.  Built with non-zero
// it posts the record instead, as message WM_EXCEPTION (wParam 0, lParam the
// Exception *), to the window named by Exception::NotifyPostHandle or, when
// none is named, to the thread that loaded the library; SetAndThrow then
// returns, and the receiver owns the record and ends it with delete.
//
// ResMess marks an argument as a message id (see FindString) whose text is
// to be looked up when the failure is raised.
#ifndef CVZ_FRAME_EXCEPTION_H
#define CVZ_FRAME_EXCEPTION_H

#include <stdint.h>

#include "CommonVcZq/frame/api.h"

class String;

// The message that carries a posted Exception.
enum : unsigned int { WM_EXCEPTION = 1124 };

class CVZ_API AException {
public:
    AException(const String &text);
    AException(const AException &other);
    ~AException();
    AException &operator=(const AException &other);

    const String &why() const { return *text; }
    // Throws a copy of this record as an AException (never as an Exception).
    void raise() const;

protected:
    String *text;
};

struct CVZ_API Exception : public AException {
    Exception();
    Exception(const char *message);
    Exception(const String &message);
    Exception(const char *message, const char *detail);
    Exception(const String &message, const String &detail);
    Exception(const char *message, uint32_t code);
    Exception(const String &message, uint32_t code);
    Exception(const char *message, const char *detail, uint32_t code);
    Exception(const String &message, const String &detail, uint32_t code);
    Exception(const Exception &other);
    ~Exception();
    Exception &operator=(const Exception &other);

    // Names the window that posted failures go to; 0 removes it, and posted
    // failures go to the thread that loaded the library again.
    static void NotifyPostHandle(uint32_t handle);

    uint32_t code;
    int32_t drive;
    String *message;
    String *detail;

private:
    void SetTexts(const char *message, const char *detail);
    void CopyTexts(const Exception &other);
    void ReleaseTexts();
};

class CVZ_API ResMess {
public:
    ResMess(unsigned int id) : id(id) {}
    unsigned int id;
};

class CVZ_API ExceptionThrower {
public:
    // 0: throw in the calling thread.  Not 0: post to the window of
    // NotifyPostHandle, or else to the thread that loaded the library.
    explicit ExceptionThrower(int post);
    ExceptionThrower &operator=(const ExceptionThrower &other);

    void SetAndThrow();
    void SetAndThrow(const Exception &e);
    void SetAndThrow(const char *message);
    void SetAndThrow(const String &message);
    void SetAndThrow(ResMess message);
    void SetAndThrow(const char *message, const char *detail);
    void SetAndThrow(const String &message, const String &detail);
    void SetAndThrow(ResMess message, ResMess detail);
    void SetAndThrow(const char *message, uint32_t code);
    void SetAndThrow(const String &message, uint32_t code);
    void SetAndThrow(ResMess message, uint32_t code);
    void SetAndThrow(const char *message, const char *detail, uint32_t code);
    void SetAndThrow(const String &message, const String &detail, uint32_t code);
    void SetAndThrow(ResMess message, ResMess detail, uint32_t code);

    uint32_t threadId;  // all ones: none
    uint32_t window;    // 0: none

private:
    void Raise(const Exception &e);
};

// Installs the process's failure handlers: a new handler that raises
// Exception("Out of memory").  Runs once at load; an application may call it
// again, for instance after installing a handler of its own.
CVZ_API void InitExceptionHandler();

#endif
