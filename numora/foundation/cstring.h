#pragma once

#include "numora/foundation/export.h"

// Narrow string value type of the engineering-unit tables. It holds bytes of a
// single-byte character set; case folding touches ASCII letters only, so bytes
// such as 0xB2 and 0xB3 (superscript two and three) compare as themselves.
class NUMORA_API CString {
public:
    // Empty string.
    CString();
    // Copy of text; a null pointer gives an empty string.
    CString(const char* text);
    CString(const CString& other);
    CString(CString&& other) noexcept;
    ~CString();

    // Replaces the content with text; null gives an empty string.
    CString& operator=(const char* text);
    CString& operator=(const CString& other);
    CString& operator=(CString&& other) noexcept;

    // Appends text; null appends nothing.
    CString& operator+=(const char* text);

    // Byte-wise comparison: 0 when equal, negative or positive as strcmp.
    int Compare(const char* text) const;
    // As Compare with ASCII letters folded to lower case.
    int CompareNoCase(const char* text) const;

    // Makes the string empty.
    void Empty();

    // The zero-terminated bytes; never null.
    const char* GetString() const;
    // Number of bytes, terminator excluded.
    int GetLength() const;
    // True when the string has no bytes.
    bool IsEmpty() const;

    operator const char*() const;

private:
    void Assign(const char* text, int length);

    char* data_;
    int length_;
};
