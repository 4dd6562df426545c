#ifndef RUXO_RUXOSTRING_H
#define RUXO_RUXOSTRING_H

#include "ruxo/Visibility.h"

/// \file
/// The platform's text.

/// A text of its own, ended by a zero byte. Not safe for use from several threads at once.
class RUXO_API RuxoString {
public:
    /// The empty text.
    RuxoString();
    /// A copy of `text`; null gives the empty text.
    RuxoString(const char* text);
    /// A copy of its own.
    RuxoString(const RuxoString& other);
    ~RuxoString();
    /// Takes a copy of the text of `other`.
    RuxoString& operator=(const RuxoString& other);

    /// True when both texts are the same, byte for byte.
    bool equals(const RuxoString& other) const;
    /// The text, never null; owned by the object and valid until its next change.
    const char* getStr() const;
    /// Takes a copy of `text`; null gives the empty text. `text` may be the object's own.
    void setStr(const char* text);

private:
    char* text_;
};

#endif
