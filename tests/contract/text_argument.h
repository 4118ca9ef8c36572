// SPDX-License-Identifier: Apache-2.0
// Texts as arguments of the library's functions, which take null pointers, too.
#pragma once

#include <optional>
#include <string>

namespace plexor::tests
{

using Text = std::optional<std::string>; // none for a null pointer

inline char *chars_of(Text &text)
{
    return text ? text->data() : nullptr;
}

inline unsigned char *bytes_of(Text &text)
{
    return reinterpret_cast<unsigned char *>(chars_of(text));
}

} // namespace plexor::tests
