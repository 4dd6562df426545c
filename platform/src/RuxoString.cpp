#include "ruxo/RuxoString.h"

#include <cstring>

namespace {

char* copyText(const char* text) {
    const char* source = text != nullptr ? text : "";
    const std::size_t size = std::strlen(source) + 1;
    char* copy = new char[size];
    std::memcpy(copy, source, size);
    return copy;
}

} // namespace

RuxoString::RuxoString() : text_(copyText("")) {}

RuxoString::RuxoString(const char* text) : text_(copyText(text)) {}

RuxoString::RuxoString(const RuxoString& other) : text_(copyText(other.text_)) {}

RuxoString::~RuxoString() { delete[] text_; }

RuxoString& RuxoString::operator=(const RuxoString& other) {
    if (this != &other)
        setStr(other.text_);
    return *this;
}

bool RuxoString::equals(const RuxoString& other) const { return std::strcmp(text_, other.text_) == 0; }

const char* RuxoString::getStr() const { return text_; }

void RuxoString::setStr(const char* text) {
    char* copy = copyText(text); // before the old text goes: `text` may be part of it
    delete[] text_;
    text_ = copy;
}
