#include "numora/foundation/cstring.h"

#include <cstring>
#include <utility>

namespace {

char emptyText[1] = {'\0'};

unsigned char FoldAscii(unsigned char c)
{
    return (c >= 'A' && c <= 'Z') ? static_cast<unsigned char>(c - 'A' + 'a') : c;
}

}  // namespace

CString::CString() : data_(emptyText), length_(0) {}

CString::CString(const char* text) : data_(emptyText), length_(0)
{
    if (text != nullptr)
        Assign(text, static_cast<int>(std::strlen(text)));
}

CString::CString(const CString& other) : data_(emptyText), length_(0)
{
    Assign(other.data_, other.length_);
}

CString::CString(CString&& other) noexcept : data_(other.data_), length_(other.length_)
{
    other.data_ = emptyText;
    other.length_ = 0;
}

CString::~CString()
{
    Empty();
}

CString& CString::operator=(const char* text)
{
    if (text == nullptr) {
        Empty();
        return *this;
    }
    // text may point into this string: copy before releasing.
    Assign(text, static_cast<int>(std::strlen(text)));
    return *this;
}

CString& CString::operator=(const CString& other)
{
    if (this != &other)
        Assign(other.data_, other.length_);
    return *this;
}

CString& CString::operator=(CString&& other) noexcept
{
    if (this != &other) {
        Empty();
        std::swap(data_, other.data_);
        std::swap(length_, other.length_);
    }
    return *this;
}

CString& CString::operator+=(const char* text)
{
    if (text == nullptr || *text == '\0')
        return *this;
    const int extra = static_cast<int>(std::strlen(text));
    const int joinedLength = length_ + extra;
    char* joined = new char[static_cast<size_t>(joinedLength) + 1];
    std::memcpy(joined, data_, static_cast<size_t>(length_));
    std::memcpy(joined + length_, text, static_cast<size_t>(extra) + 1);
    Empty();
    data_ = joined;
    length_ = joinedLength;
    return *this;
}

int CString::Compare(const char* text) const
{
    return std::strcmp(data_, text != nullptr ? text : "");
}

int CString::CompareNoCase(const char* text) const
{
    const unsigned char* a = reinterpret_cast<const unsigned char*>(data_);
    const unsigned char* b = reinterpret_cast<const unsigned char*>(text != nullptr ? text : "");
    for (;; ++a, ++b) {
        const unsigned char ca = FoldAscii(*a);
        const unsigned char cb = FoldAscii(*b);
        if (ca != cb)
            return ca < cb ? -1 : 1;
        if (ca == '\0')
            return 0;
    }
}

void CString::Empty()
{
    if (data_ != emptyText)
        delete[] data_;
    data_ = emptyText;
    length_ = 0;
}

const char* CString::GetString() const
{
    return data_;
}

int CString::GetLength() const
{
    return length_;
}

bool CString::IsEmpty() const
{
    return length_ == 0;
}

CString::operator const char*() const
{
    return data_;
}

void CString::Assign(const char* text, int length)
{
    char* copy = emptyText;
    if (length > 0) {
        copy = new char[static_cast<size_t>(length) + 1];
        std::memcpy(copy, text, static_cast<size_t>(length));
        copy[length] = '\0';
    }
    Empty();
    data_ = copy;
    length_ = length;
}
