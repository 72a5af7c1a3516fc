// Transfers over loopback from vsftpd: CFTPClient beside curl doing the same
// download, upload and listing against the same server in the same run.
//
// VETREL_BENCH_FTP_MIB sets the file size (1024 by default) and
// VETREL_BENCH_FTP_ENTRIES the number of directory entries (100000).

#include "ftpserverprocess.h"

#include <vetrel/FtpClient/FTPClient.h>

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QProcess>
#include <QTemporaryDir>

#include <benchmark/benchmark.h>

#include <sys/resource.h>

#include <cstdio>
#include <memory>

using namespace nsFTP;

namespace
{

FtpServerProcess* server = nullptr;
QTemporaryDir* localDir = nullptr;

long envNumber(const char* name, long fallback)
{
    bool ok = false;
    const long value = qEnvironmentVariable(name).toLong(&ok);
    return ok && value > 0 ? value : fallback;
}

const long FileBytes = envNumber("VETREL_BENCH_FTP_MIB", 1024) * 1024 * 1024;
const long Entries = envNumber("VETREL_BENCH_FTP_ENTRIES", 100000);

QString localSource()
{
    return localDir->path() + QStringLiteral("/source.bin");
}

QString url(const QString& remotePath)
{
    return QStringLiteral("ftp://127.0.0.1:%1%2").arg(server->port()).arg(remotePath);
}

bool prepareFiles()
{
    // One block of pseudo-random bytes repeated: incompressible enough, cheap to make.
    QByteArray block(1024 * 1024, Qt::Uninitialized);
    for (int i = 0; i < block.size(); ++i)
        block.data()[i] = static_cast<char>((static_cast<unsigned>(i) * 2654435761u) >> 24);
    for (const QString& path : {server->localPath(QStringLiteral("/pub/big.bin")), localSource()}) {
        QFile file(path);
        if (!file.open(QIODevice::WriteOnly))
            return false;
        for (long written = 0; written < FileBytes; written += block.size())
            file.write(block.constData(), std::min<long>(block.size(), FileBytes - written));
    }
    QDir(server->localPath(QStringLiteral("/pub"))).mkdir(QStringLiteral("many"));
    for (long i = 0; i < Entries; ++i) {
        QFile file(server->localPath(QStringLiteral("/pub/many/quotes-%1.csv").arg(i, 6, 10, QLatin1Char('0'))));
        if (!file.open(QIODevice::WriteOnly))
            return false;
    }
    return true;
}

std::unique_ptr<CFTPClient> logOn(unsigned int bufferSize)
{
    auto client = std::make_unique<CFTPClient>(nsSocket::CreateDefaultBlockingSocketInstance(), 30, bufferSize, 0,
                                               "/pub");
    client->SetResumeMode(false);
    if (!client->Login(CLogonInfo("127.0.0.1", server->port(), "anonymous")))
        return nullptr;
    return client;
}

bool curl(QStringList arguments, bool passive)
{
    if (!passive)
        arguments.prepend(QStringLiteral("-P-"));
    return QProcess::execute(QStringLiteral("curl"), QStringList{QStringLiteral("-sS")} + arguments) == 0;
}

void finish(benchmark::State& state, long bytes)
{
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) * bytes);
}

// Arguments: passive (1) or active (0), receive buffer in KiB.
void VetrelDownload(benchmark::State& state)
{
    auto client = logOn(static_cast<unsigned int>(state.range(1) * 1024));
    if (!client)
        return state.SkipWithError("logon failed");
    for (auto _ : state) {
        if (!client->DownloadFile("big.bin", "/dev/null", CType::Image(), state.range(0) != 0))
            return state.SkipWithError("download failed");
    }
    finish(state, FileBytes);
}

void CurlDownload(benchmark::State& state)
{
    for (auto _ : state) {
        if (!curl({QStringLiteral("-o"), QStringLiteral("/dev/null"), url(QStringLiteral("/pub/big.bin"))},
                  state.range(0) != 0))
            return state.SkipWithError("curl failed");
    }
    finish(state, FileBytes);
}

void VetrelUpload(benchmark::State& state)
{
    auto client = logOn(static_cast<unsigned int>(state.range(1) * 1024));
    if (!client)
        return state.SkipWithError("logon failed");
    for (auto _ : state) {
        if (!client->UploadFile(localSource().toStdString(), "vetrel-up.bin", false, CType::Image(), state.range(0) != 0))
            return state.SkipWithError("upload failed");
    }
    finish(state, FileBytes);
}

void CurlUpload(benchmark::State& state)
{
    for (auto _ : state) {
        if (!curl({QStringLiteral("-T"), localSource(), url(QStringLiteral("/pub/curl-up.bin"))}, state.range(0) != 0))
            return state.SkipWithError("curl failed");
    }
    finish(state, FileBytes);
}

long peakRssKiB()
{
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    return usage.ru_maxrss;
}

// Argument: parsed (1) or text lines (0).
void VetrelList(benchmark::State& state)
{
    auto client = logOn(256 * 1024);
    if (!client)
        return state.SkipWithError("logon failed");
    const long rssBefore = peakRssKiB();
    size_t count = 0;
    for (auto _ : state) {
        if (state.range(0)) {
            CFTPClient::TSpFTPFileStatusVector entries;
            if (!client->List("many", entries, true))
                return state.SkipWithError("list failed");
            count = entries.size();
        } else {
            CFTPClient::TStringVector lines;
            if (!client->List("many", lines, true))
                return state.SkipWithError("list failed");
            count = lines.size();
        }
    }
    state.counters["entries"] = static_cast<double>(count);
    state.counters["peak_rss_growth_MiB"] = (peakRssKiB() - rssBefore) / 1024.0;
}

void CurlList(benchmark::State& state)
{
    for (auto _ : state) {
        if (!curl({QStringLiteral("-o"), QStringLiteral("/dev/null"), url(QStringLiteral("/pub/many/"))}, true))
            return state.SkipWithError("curl failed");
    }
}

}

// Listings first: the peak resident size only ever grows.
BENCHMARK(VetrelList)->Arg(0)->Arg(1)->Unit(benchmark::kMillisecond)->UseRealTime()->Iterations(3);
BENCHMARK(CurlList)->Unit(benchmark::kMillisecond)->UseRealTime()->Iterations(3);
BENCHMARK(VetrelDownload)
    ->ArgsProduct({{1}, {16, 64, 256, 1024}})
    ->Args({0, 256})
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime()
    ->Iterations(3);
BENCHMARK(CurlDownload)->Arg(1)->Arg(0)->Unit(benchmark::kMillisecond)->UseRealTime()->Iterations(3);
BENCHMARK(VetrelUpload)->Args({1, 256})->Args({0, 256})->Unit(benchmark::kMillisecond)->UseRealTime()->Iterations(3);
BENCHMARK(CurlUpload)->Arg(1)->Arg(0)->Unit(benchmark::kMillisecond)->UseRealTime()->Iterations(3);

int main(int argc, char** argv)
{
    QCoreApplication app(argc, argv);
    benchmark::Initialize(&argc, argv);
    QTemporaryDir dir;
    FtpServerProcess vsftpd(FtpServerProcess::Vsftpd);
    if (!dir.isValid() || !vsftpd.start()) {
        std::fprintf(stderr, "cannot start vsftpd: %s\n", qPrintable(vsftpd.errorString()));
        return 1;
    }
    server = &vsftpd;
    localDir = &dir;
    if (!prepareFiles()) {
        std::fprintf(stderr, "cannot prepare the files\n");
        return 1;
    }
    std::fprintf(stderr, "file %ld MiB, %ld directory entries, vsftpd on port %u\n", FileBytes / (1024 * 1024),
                 Entries, server->port());
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
