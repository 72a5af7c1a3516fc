// One MLSD line per input. Besides the sanitizers' findings, an accepted line
// must end in the name it gives and a refused one must leave nothing behind.
#include <vetrel/FtpClient/FTPMlsdParse.h>

#include <cstdint>
#include <cstdlib>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    nsFTP::CFTPMlsdParser parser;
    const nsFTP::tstring line(reinterpret_cast<const char *>(data), size);
    nsFTP::CFTPFileStatus status;
    if (parser.Parse(status, line)) {
        const nsFTP::tstring &name = status.Name();
        if (name.empty() || line.compare(line.size() - name.size(), name.size(), name) != 0)
            std::abort();
        if (status.SizeType() == nsFTP::CFTPFileStatus::stBinary && status.Size() < 0)
            std::abort();
    } else if (status != nsFTP::CFTPFileStatus()) {
        std::abort();
    }
    return 0;
}
