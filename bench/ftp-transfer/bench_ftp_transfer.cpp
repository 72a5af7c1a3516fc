// Transfers over loopback from vsftpd: CFTPClient beside curl doing the same
// download, upload and listing against the same server in the same run, in
// plain FTP and over TLS (a second vsftpd with a certificate made at start-up;
// curl with --ssl-reqd).
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
#include <unistd.h>

#include <cstdio>
#include <memory>

using namespace nsFTP;

namespace
{

FtpServerProcess *plainServer = nullptr;
FtpServerProcess *tlsServer = nullptr;
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

QString certificate()
{
    return localDir->path() + QStringLiteral("/server.crt");
}

FtpServerProcess &server(bool tls)
{
    return tls ? *tlsServer : *plainServer;
}

QString url(const QString &remotePath, bool tls)
{
    return QStringLiteral("ftp://127.0.0.1:%1%2").arg(server(tls).port()).arg(remotePath);
}

/// A self-signed certificate for 127.0.0.1, and the same with its key for the server.
bool makeCertificate()
{
    const QString key = localDir->path() + QStringLiteral("/server.key");
    const int made = QProcess::execute(QStringLiteral("openssl"),
        { "req", "-x509", "-newkey", "rsa:2048", "-nodes", "-days", "2", "-subj", "/CN=bench", "-addext",
            "subjectAltName=IP:127.0.0.1", "-keyout", key, "-out", certificate() });
    QFile pem(localDir->path() + QStringLiteral("/server.pem"));
    QFile crt(certificate()), k(key);
    return made == 0 && pem.open(QIODevice::WriteOnly) && crt.open(QIODevice::ReadOnly)
        && k.open(QIODevice::ReadOnly) && pem.write(crt.readAll() + k.readAll()) > 0;
}

bool prepareFiles()
{
    FtpServerProcess *const server = plainServer;
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
    // The TLS server serves the same bytes through a second name.
    if (::link(qPrintable(server->localPath(QStringLiteral("/pub/big.bin"))),
            qPrintable(tlsServer->localPath(QStringLiteral("/pub/big.bin"))))
        != 0)
        return false;
    QDir(server->localPath(QStringLiteral("/pub"))).mkdir(QStringLiteral("many"));
    for (long i = 0; i < Entries; ++i) {
        QFile file(server->localPath(QStringLiteral("/pub/many/quotes-%1.csv").arg(i, 6, 10, QLatin1Char('0'))));
        if (!file.open(QIODevice::WriteOnly))
            return false;
    }
    return true;
}

std::unique_ptr<CFTPClient> logOn(unsigned int bufferSize, bool tls = false)
{
    auto client = std::make_unique<CFTPClient>(nsSocket::CreateDefaultBlockingSocketInstance(), 30, bufferSize, 0,
                                               "/pub");
    client->SetResumeMode(false);
    if (tls) {
        nsSocket::CTlsSettings settings;
        settings.SetCaFile(certificate().toStdString());
        client->EnableTls(settings);
    }
    if (!client->Login(CLogonInfo("127.0.0.1", server(tls).port(), "anonymous")))
        return nullptr;
    return client;
}

bool curl(QStringList arguments, bool passive, bool tls = false)
{
    if (!passive)
        arguments.prepend(QStringLiteral("-P-"));
    if (tls)
        arguments << QStringLiteral("--ssl-reqd") << QStringLiteral("--cacert") << certificate();
    return QProcess::execute(QStringLiteral("curl"), QStringList{QStringLiteral("-sS")} + arguments) == 0;
}

void finish(benchmark::State& state, long bytes)
{
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) * bytes);
}

// Arguments: passive (1) or active (0), receive buffer in KiB, TLS (1) or not (0).
void VetrelDownload(benchmark::State& state)
{
    auto client = logOn(static_cast<unsigned int>(state.range(1) * 1024), state.range(2) != 0);
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
        if (!curl({ QStringLiteral("-o"), QStringLiteral("/dev/null"),
                      url(QStringLiteral("/pub/big.bin"), state.range(1) != 0) },
                state.range(0) != 0, state.range(1) != 0))
            return state.SkipWithError("curl failed");
    }
    finish(state, FileBytes);
}

void VetrelUpload(benchmark::State& state)
{
    auto client = logOn(static_cast<unsigned int>(state.range(1) * 1024), state.range(2) != 0);
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
        if (!curl({ QStringLiteral("-T"), localSource(),
                      url(QStringLiteral("/pub/curl-up.bin"), state.range(1) != 0) },
                state.range(0) != 0, state.range(1) != 0))
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
        if (!curl({ QStringLiteral("-o"), QStringLiteral("/dev/null"),
                      url(QStringLiteral("/pub/many/"), false) },
                true))
            return state.SkipWithError("curl failed");
    }
}

}

// Listings first: the peak resident size only ever grows.
BENCHMARK(VetrelList)->Arg(0)->Arg(1)->Unit(benchmark::kMillisecond)->UseRealTime()->Iterations(3);
BENCHMARK(CurlList)->Unit(benchmark::kMillisecond)->UseRealTime()->Iterations(3);
BENCHMARK(VetrelDownload)
    ->ArgsProduct({ { 1 }, { 16, 64, 256, 1024 }, { 0 } })
    ->Args({ 0, 256, 0 })
    ->Args({ 1, 256, 1 })
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime()
    ->Iterations(3);
BENCHMARK(CurlDownload)
    ->Args({ 1, 0 })
    ->Args({ 0, 0 })
    ->Args({ 1, 1 })
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime()
    ->Iterations(3);
BENCHMARK(VetrelUpload)
    ->Args({ 1, 256, 0 })
    ->Args({ 0, 256, 0 })
    ->Args({ 1, 256, 1 })
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime()
    ->Iterations(3);
BENCHMARK(CurlUpload)
    ->Args({ 1, 0 })
    ->Args({ 0, 0 })
    ->Args({ 1, 1 })
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime()
    ->Iterations(3);

int main(int argc, char** argv)
{
    QCoreApplication app(argc, argv);
    benchmark::Initialize(&argc, argv);
    QTemporaryDir dir;
    localDir = &dir;
    if (!dir.isValid() || !makeCertificate()) {
        std::fprintf(stderr, "cannot make a certificate\n");
        return 1;
    }
    FtpServerProcess vsftpd(FtpServerProcess::Vsftpd);
    FtpServerProcess tlsVsftpd(FtpServerProcess::Vsftpd, dir.path() + QStringLiteral("/server.pem"));
    for (FtpServerProcess *server : { &vsftpd, &tlsVsftpd }) {
        if (!server->start()) {
            std::fprintf(stderr, "cannot start vsftpd: %s\n", qPrintable(server->errorString()));
            return 1;
        }
    }
    plainServer = &vsftpd;
    tlsServer = &tlsVsftpd;
    if (!prepareFiles()) {
        std::fprintf(stderr, "cannot prepare the files\n");
        return 1;
    }
    std::fprintf(stderr, "file %ld MiB, %ld directory entries, vsftpd on ports %u (plain) and %u (TLS)\n",
        FileBytes / (1024 * 1024), Entries, plainServer->port(), tlsServer->port());
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
