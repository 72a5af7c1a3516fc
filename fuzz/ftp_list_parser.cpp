// One LIST line per input. Besides the sanitizers' findings, an accepted
// line must name a part of itself and a refused one must leave nothing behind.
#include <vetrel/FtpClient/FTPListParse.h>

#include <cstdint>
#include <cstdlib>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    static nsFTP::CFTPListParser parser;
    const nsFTP::tstring line(reinterpret_cast<const char *>(data), size);
    nsFTP::CFTPFileStatus status;
    if (parser.Parse(status, line)) {
        if (status.Name().empty() || line.find(status.Name()) == nsFTP::tstring::npos)
            std::abort();
    } else if (status != nsFTP::CFTPFileStatus()) {
        std::abort();
    }
    return 0;
}
