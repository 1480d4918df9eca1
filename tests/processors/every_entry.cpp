// Calls every entry on pages of two sizes and prints what each answers and a checksum of the blocks
// it gives; the first line names the kernels' tier. Run on other processors, the lines below the first
// must be the same.
#include "tests/reliability/failing.h"

#include "memory/x86/cpu_tier.h"
#include "tests/support/test_host.h"

#include <cstdint>
#include <cstdio>

namespace {

// FNV-1a.
std::uint64_t Checksum(const std::vector<std::vector<std::uint8_t>>& blocks) {
    std::uint64_t sum = 0xCBF29CE484222325;
    for (const std::vector<std::uint8_t>& block : blocks)
        for (const std::uint8_t byte : block)
            sum = (sum ^ byte) * 0x100000001B3;
    return sum;
}

} // namespace

int main() {
    std::printf("%s\n", dibprep::NameOf(dibprep::ProcessorTier()));
    for (const int width : {200, 7}) {
        for (const failing::Entry& entry : failing::Entries(width, width * 3 / 5)) {
            testhost::Reset();
            entry.prepare();
            const std::string answer = entry.call();
            std::printf("%s %d: %s %zu %016llx\n", entry.name.c_str(), width, answer.c_str(),
                        failing::BlocksOfCall().size(),
                        static_cast<unsigned long long>(Checksum(failing::BlocksOfCall())));
        }
    }
    testhost::Reset();
    return 0;
}
