// SPDX-License-Identifier: Apache-2.0
// The digest of any message in any pieces is the slow reference's.
#include <cstdint>
#include <string>
#include <vector>

#include <plexor/md5.h>

#include "fuzz/appliance.h"
#include "tests/contract/md5_reference.h"

using plexor::fuzz::expect;

namespace
{

// Pieces of 1 to 256 bytes, each as long as its own first byte says, copied to where a step beyond is seen.
std::string digest_in_pieces(const std::string &message)
{
    std::string digest(16, '\0');
    md5_init();
    for (std::size_t at = 0; at < message.size();) {
        const std::string piece = message.substr(at, 1U + static_cast<unsigned char>(message[at]));
        const std::vector<char> bytes(piece.begin(), piece.end());
        md5_update(bytes.data(), static_cast<unsigned>(bytes.size()));
        at += bytes.size();
    }
    md5_final(reinterpret_cast<unsigned char *>(digest.data()));
    return digest;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    const std::string message(data, data + size);
    expect(digest_in_pieces(message) == plexor::tests::md5(message));
    return 0;
}
