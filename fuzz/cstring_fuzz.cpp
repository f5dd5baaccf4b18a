// Fuzz target of CString against a std::string model.
//
// Input: a sequence of operations, each an operation byte, a byte choosing
// the two strings it works on, and a zero-terminated text where it takes one.
//
// Checks: after every construction, assignment (from text, from null, from
// another string, from the string's own bytes, by move), append (also of the
// string's own bytes) and Empty, both strings hold the model's bytes, length
// and emptiness; Compare orders bytes as unsigned values like strcmp, and
// CompareNoCase folds ASCII letters only.

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string>
#include <utility>

#include "fuzz/fuzz_input.h"
#include "numora/numora.h"

namespace {

int Sign(int v)
{
    return (v > 0) - (v < 0);
}

std::string Folded(std::string s)
{
    for (char& c : s) {
        if (c >= 'A' && c <= 'Z')
            c = static_cast<char>(c - 'A' + 'a');
    }
    return s;
}

// Byte-wise order of unsigned bytes, a shorter prefix first.
int ModelCompare(const std::string& a, const std::string& b)
{
    const size_t n = std::min(a.size(), b.size());
    for (size_t i = 0; i < n; ++i) {
        const unsigned char x = static_cast<unsigned char>(a[i]);
        const unsigned char y = static_cast<unsigned char>(b[i]);
        if (x != y)
            return x < y ? -1 : 1;
    }
    return Sign(static_cast<int>(a.size()) - static_cast<int>(b.size()));
}

void CheckHolds(const CString& s, const std::string& model)
{
    CHECK(s.GetLength() == static_cast<int>(model.size()) && s.IsEmpty() == model.empty());
    CHECK(s.GetString() != nullptr && std::strlen(s.GetString()) == model.size());
    CHECK(model.compare(s.GetString()) == 0 && static_cast<const char*>(s) == s.GetString());
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    CString strings[2];
    std::string models[2];
    size_t pos = 0;
    while (pos + 2 <= size) {
        const uint8_t op = data[pos];
        const int i = data[pos + 1] & 1;
        const int j = (data[pos + 1] >> 1) & 1;
        pos += 2;
        std::string text;
        while (pos < size && data[pos] != 0 && text.size() < 64)
            text += static_cast<char>(data[pos++]);
        if (pos < size && data[pos] == 0)
            ++pos;
        const char* t = text.c_str();
        // Appending a string to itself doubles it: keep the strings short.
        if (models[i].size() + models[j].size() + text.size() > 4096) {
            strings[i].Empty();
            models[i].clear();
        }

        switch (op % 11) {
        case 0: strings[i] = CString(t); models[i] = text; break;
        case 1: strings[i] = t; models[i] = text; break;
        case 2: strings[i] += t; models[i] += text; break;
        case 3: strings[i] = strings[j]; models[i] = models[j]; break;
        case 4:
            // Self-move keeps the string; otherwise the source is left valid
            // but with unspecified content, so its model is read back.
            strings[i] = std::move(strings[j]);
            models[i] = models[j];
            if (i != j)
                models[j] = strings[j].GetString();
            break;
        case 5:
            strings[i] = static_cast<const char*>(nullptr);
            strings[j] += static_cast<const char*>(nullptr);
            models[i].clear();
            break;
        case 6: strings[i].Empty(); models[i].clear(); break;
        case 7: strings[i] += strings[j].GetString(); models[i] += models[j]; break;
        case 8: strings[i] = strings[j].GetString(); models[i] = models[j]; break;
        case 9: {
            CString copy(strings[j]);
            CString moved(std::move(copy));
            CheckHolds(copy, "");
            strings[i] = std::move(moved);
            models[i] = models[j];
            break;
        }
        default: {
            CString fromNull(static_cast<const char*>(nullptr));
            CheckHolds(fromNull, "");
            strings[i] = fromNull;
            models[i].clear();
            break;
        }
        }
        for (int k = 0; k < 2; ++k) {
            CheckHolds(strings[k], models[k]);
            CHECK(Sign(strings[k].Compare(t)) == ModelCompare(models[k], text));
            CHECK(Sign(strings[k].CompareNoCase(t)) == ModelCompare(Folded(models[k]), Folded(text)));
            CHECK(Sign(strings[k].Compare(strings[1 - k].GetString())) == ModelCompare(models[k], models[1 - k]));
        }
    }
    return 0;
}
