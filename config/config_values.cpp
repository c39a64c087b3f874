// Typed values of Config: numbers, text and byte blocks as value text.
//
// All writers end in SetTheValue and all readers in GetTheValue.  The
// narrow integer types go through the 32-bit members and keep the low bits
// of the result, so that each type's text form and parsing are those of
// its 32-bit sibling: signed types by strtol, unsigned ones by strtoul.
#include "CommonVcZq/config/config.h"

#include <ctype.h>
#include <string.h>

namespace {

// The clamp of GetSure, in T's own arithmetic: the minimum is tested first.
template <class T>
T Clamp(T value, T minimum, T maximum) {
    if (value < minimum)
        return minimum;
    if (value > maximum)
        return maximum;
    return value;
}

int SignedWide(char value) { return static_cast<signed char>(value); }

const char kHexDigits[] = "0123456789ABCDEF";

// The value of one digit of a binary value.  Nothing is rejected: any
// character other than 0-9 counts as its upper case code minus 55, so A-F
// and a-f are 10 to 15, and the nibble is that count modulo 16.
unsigned Nibble(char c) {
    if (c >= '0' && c <= '9')
        return static_cast<unsigned>(c - '0');
    return static_cast<unsigned>(toupper(static_cast<unsigned char>(c)) - 55) & 0xF;
}

bool IsBlank(char c) { return c == ' ' || c == '\t'; }

}  // namespace

// ----------------------------------------------------- writer and reader

void Config::SetTheValue(const String &text, const char *composedName) {
    ConfigKey *key = FindValue(composedName);
    // A sorted key is placed while its value is still empty.
    if (!key)
        key = LinkIntoCurrent(new ConfigKey(*this, String(composedName), current, 0));
    key->value = text;
}

String Config::GetTheValue(const String &defaultText, const char *composedName) const {
    const ConfigKey *key = FindValue(composedName);
    return key ? key->value : defaultText;
}

// ---------------------------------------------------------------- SetValue

void Config::SetValue(char value, const char *name, int index) { SetValue(SignedWide(value), name, index); }

void Config::SetValue(signed char value, const char *name, int index) {
    SetValue(static_cast<int>(value), name, index);
}

void Config::SetValue(unsigned char value, const char *name, int index) {
    SetValue(static_cast<unsigned int>(value), name, index);
}

void Config::SetValue(short value, const char *name, int index) { SetValue(static_cast<int>(value), name, index); }

void Config::SetValue(unsigned short value, const char *name, int index) {
    SetValue(static_cast<unsigned int>(value), name, index);
}

void Config::SetValue(int value, const char *name, int index) {
    SetTheValue(String(value), ComposedName(name, index));
}

void Config::SetValue(unsigned int value, const char *name, int index) {
    SetTheValue(String(value), ComposedName(name, index));
}

void Config::SetValue(long value, const char *name, int index) {
    SetValue(static_cast<int>(static_cast<int32_t>(value)), name, index);
}

void Config::SetValue(unsigned long value, const char *name, int index) {
    SetValue(static_cast<unsigned int>(static_cast<uint32_t>(value)), name, index);
}

void Config::SetValue(float value, const char *name, int index) {
    SetTheValue(String(value, "%.8f"), ComposedName(name, index));
}

void Config::SetValue(const double &value, const char *name, int index) {
    SetTheValue(String(value, "%.8f"), ComposedName(name, index));
}

void Config::SetValue(const String &value, const char *name, int index) {
    SetTheValue(value, ComposedName(name, index));
}

void Config::SetValue(const char *value, const char *name, int index) {
    SetTheValue(String(value ? value : ""), ComposedName(name, index));
}

// ---------------------------------------------------------------- GetValue

char Config::GetValue(char defaultValue, const char *name, int index) const {
    return static_cast<char>(GetValue(SignedWide(defaultValue), name, index));
}

signed char Config::GetValue(signed char defaultValue, const char *name, int index) const {
    return static_cast<signed char>(GetValue(static_cast<int>(defaultValue), name, index));
}

unsigned char Config::GetValue(unsigned char defaultValue, const char *name, int index) const {
    return static_cast<unsigned char>(GetValue(static_cast<unsigned int>(defaultValue), name, index));
}

short Config::GetValue(short defaultValue, const char *name, int index) const {
    return static_cast<short>(GetValue(static_cast<int>(defaultValue), name, index));
}

unsigned short Config::GetValue(unsigned short defaultValue, const char *name, int index) const {
    return static_cast<unsigned short>(GetValue(static_cast<unsigned int>(defaultValue), name, index));
}

int Config::GetValue(int defaultValue, const char *name, int index) const {
    return GetTheValue(String(defaultValue), ComposedName(name, index)).to_int32();
}

unsigned int Config::GetValue(unsigned int defaultValue, const char *name, int index) const {
    return GetTheValue(String(defaultValue), ComposedName(name, index)).to_uint32();
}

long Config::GetValue(long defaultValue, const char *name, int index) const {
    return GetValue(static_cast<int>(static_cast<int32_t>(defaultValue)), name, index);
}

unsigned long Config::GetValue(unsigned long defaultValue, const char *name, int index) const {
    return GetValue(static_cast<unsigned int>(static_cast<uint32_t>(defaultValue)), name, index);
}

float Config::GetValue(float defaultValue, const char *name, int index) const {
    return GetTheValue(String(defaultValue), ComposedName(name, index)).to_float();
}

double Config::GetValue(const double &defaultValue, const char *name, int index) const {
    return GetTheValue(String(defaultValue), ComposedName(name, index)).to_double();
}

String Config::GetValue(const String &defaultValue, const char *name, int index) const {
    return GetTheValue(defaultValue, ComposedName(name, index));
}

String Config::GetValue(const char *defaultValue, const char *name, int index) const {
    return GetTheValue(String(defaultValue ? defaultValue : ""), ComposedName(name, index));
}

// ----------------------------------------------------------------- GetSure

char Config::GetSure(char defaultValue, char minimum, char maximum, const char *name, int index) const {
    return Clamp(GetValue(defaultValue, name, index), minimum, maximum);
}

signed char Config::GetSure(signed char defaultValue, signed char minimum, signed char maximum, const char *name,
                            int index) const {
    return Clamp(GetValue(defaultValue, name, index), minimum, maximum);
}

unsigned char Config::GetSure(unsigned char defaultValue, unsigned char minimum, unsigned char maximum,
                              const char *name, int index) const {
    return Clamp(GetValue(defaultValue, name, index), minimum, maximum);
}

short Config::GetSure(short defaultValue, short minimum, short maximum, const char *name, int index) const {
    return Clamp(GetValue(defaultValue, name, index), minimum, maximum);
}

unsigned short Config::GetSure(unsigned short defaultValue, unsigned short minimum, unsigned short maximum,
                               const char *name, int index) const {
    return Clamp(GetValue(defaultValue, name, index), minimum, maximum);
}

int Config::GetSure(int defaultValue, int minimum, int maximum, const char *name, int index) const {
    return Clamp(GetValue(defaultValue, name, index), minimum, maximum);
}

unsigned int Config::GetSure(unsigned int defaultValue, unsigned int minimum, unsigned int maximum,
                             const char *name, int index) const {
    return Clamp(GetValue(defaultValue, name, index), minimum, maximum);
}

long Config::GetSure(long defaultValue, long minimum, long maximum, const char *name, int index) const {
    return Clamp(static_cast<int32_t>(GetValue(defaultValue, name, index)), static_cast<int32_t>(minimum),
                 static_cast<int32_t>(maximum));
}

unsigned long Config::GetSure(unsigned long defaultValue, unsigned long minimum, unsigned long maximum,
                              const char *name, int index) const {
    return Clamp(static_cast<uint32_t>(GetValue(defaultValue, name, index)), static_cast<uint32_t>(minimum),
                 static_cast<uint32_t>(maximum));
}

float Config::GetSure(float defaultValue, float minimum, float maximum, const char *name, int index) const {
    return Clamp(GetValue(defaultValue, name, index), minimum, maximum);
}

double Config::GetSure(const double &defaultValue, const double &minimum, const double &maximum,
                       const char *name, int index) const {
    return Clamp(GetValue(defaultValue, name, index), minimum, maximum);
}

// ------------------------------------------------------------------ binary

void Config::SetBinary(const void *data, int size, const char *name, int index) {
    if (size <= 0) {
        SetTheValue(String(), ComposedName(name, index));
        return;
    }
    const unsigned char *bytes = static_cast<const unsigned char *>(data);
    String text(SubString::Create(nullptr, 2 * static_cast<uint32_t>(size)));
    for (int i = 0; i < size; ++i) {
        text[2 * i] = kHexDigits[bytes[i] >> 4];
        text[2 * i + 1] = kHexDigits[bytes[i] & 0xF];
    }
    SetTheValue(text, ComposedName(name, index));
}

int32_t Config::GetBinary(void *target, const void *defaultData, int size, const char *name, int index) const {
    String text = GetTheValue(String(), ComposedName(name, index));
    unsigned char *out = static_cast<unsigned char *>(target);
    const size_t targetSize = size > 0 ? static_cast<size_t>(size) : 0;
    if (text.IsEmpty()) {
        if (defaultData) {
            memcpy(out, defaultData, targetSize);
            return size;
        }
        memset(out, 0, targetSize);
        return 0;
    }
    memset(out, 0, targetSize);
    text.Trim(" \t", 3);
    const char *p = text.c_str();
    int32_t delivered = 0;
    while (delivered < size) {
        while (IsBlank(*p))
            ++p;
        // A lone digit at the end makes no byte.
        if (p[0] == 0 || p[1] == 0)
            break;
        out[delivered++] = static_cast<unsigned char>(Nibble(p[0]) << 4 | Nibble(p[1]));
        p += 2;
    }
    return delivered;
}

int32_t Config::GetBinarySize(const char *name, int index) const {
    String text = GetTheValue(String(), ComposedName(name, index));
    text.Trim(" \t", 3);
    return static_cast<int32_t>(text.GetLength() / 2);
}

// ------------------------------------------------------------- value names

uint32_t Config::GetValueNames(List<StringItem<ListElement>> &names, int sorted) const {
    names.DeleteAll();
    for (ConfigKey *key = GetFirstKey(); key; key = key->GetNext()) {
        if (key->children)
            continue;
        StringItem<ListElement> *item = new StringItem<ListElement>(key->name);
        if (sorted)
            names.InsertInSortedList(item);
        else
            names.Append(item);
    }
    return static_cast<uint32_t>(names.GetCount());
}
