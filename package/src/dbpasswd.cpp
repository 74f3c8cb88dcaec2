// SPDX-License-Identifier: Apache-2.0
// package/src/dbpasswd.cpp - authenticated encryption of passwords; the key file.
#include "package/dbpasswd.h"

#include <fcntl.h>
#include <openssl/evp.h>
#include <openssl/rand.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <memory>
#include <vector>

#include "package/root.h"
#include "pkglog.h"

namespace {

constexpr int KEY_SIZE = 32;
constexpr int NONCE_SIZE = 12;
constexpr int TAG_SIZE = 16;
constexpr char PREFIX[] = "v1:";
constexpr std::size_t PREFIX_SIZE = sizeof(PREFIX) - 1;

using Key = std::array<unsigned char, KEY_SIZE>;
using Bytes = std::vector<unsigned char>;
using CipherCtx = std::unique_ptr<EVP_CIPHER_CTX, decltype(&EVP_CIPHER_CTX_free)>;

class File {
public:
    explicit File(int fd) noexcept : m_fd(fd) {}
    ~File()
    {
        if (m_fd >= 0) {
            ::close(m_fd);
        }
    }
    File(const File&) = delete;
    File& operator=(const File&) = delete;
    int Fd() const noexcept { return m_fd; }
    explicit operator bool() const noexcept { return m_fd >= 0; }

private:
    int m_fd;
};

bool ReadKey(const std::string& path, Key& key)
{
    const File file(::open(path.c_str(), O_RDONLY | O_CLOEXEC));
    struct stat info {};
    if (!file || ::fstat(file.Fd(), &info) != 0) {
        return false;
    }
    if ((info.st_mode & 077) != 0) {
        PKG_LOG(LOG_CATEG_GENERAL, LOG_LEVEL_ERR, "Key [%s] is open to others (mode %o): chmod 600 it.\n",
                path.c_str(), static_cast<unsigned>(info.st_mode & 0777));
        errno = EPERM;
        return false;
    }
    if (::read(file.Fd(), key.data(), key.size()) != static_cast<ssize_t>(key.size())) {
        errno = EINVAL; // shorter than a key: somebody cut it
        return false;
    }
    return true;
}

/// A new key of 32 printable characters.
bool MakeKeyText(Key& key)
{
    static constexpr char ALPHABET[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789-_";
    if (RAND_bytes(key.data(), KEY_SIZE) != 1) {
        errno = EIO;
        return false;
    }
    for (auto& letter : key) {
        letter = static_cast<unsigned char>(ALPHABET[letter % 64]);
    }
    return true;
}

/// Writes a new key under a name of its own and links it into place: of several processes the first wins,
/// and no one ever sees half a key.
bool MakeKey(const std::string& path)
{
    Key key{};
    std::string temp = path + ".XXXXXX";
    if (!MakeKeyText(key)) {
        return false;
    }
    const File file(::mkostemp(temp.data(), O_CLOEXEC)); // mode 0600
    if (!file) {
        return false;
    }
    const bool isWritten = ::write(file.Fd(), key.data(), key.size()) == static_cast<ssize_t>(key.size()) &&
                           ::fsync(file.Fd()) == 0;
    const bool isLinked = isWritten && (::link(temp.c_str(), path.c_str()) == 0 || errno == EEXIST);
    const int error = errno;
    ::unlink(temp.c_str());
    errno = error;
    return isLinked;
}

/// A key and the state of its file when it was read. Good for as long as the file is the same.
struct KnownKey {
    std::string path;
    struct stat info {};
    Key key{};

    bool IsStill(const std::string& nowPath, const struct stat& now) const noexcept
    {
        return path == nowPath && info.st_dev == now.st_dev && info.st_ino == now.st_ino &&
               info.st_mode == now.st_mode && info.st_ctim.tv_sec == now.st_ctim.tv_sec &&
               info.st_ctim.tv_nsec == now.st_ctim.tv_nsec;
    }
};

bool LoadKey(Key& key)
{
    thread_local KnownKey known; // a listing of rules deciphers many passwords
    const std::string path = GetPackageRoot() + "/etc/dbpasswd.key";
    struct stat now {};
    const bool isThere = ::stat(path.c_str(), &now) == 0;
    if (isThere && known.IsStill(path, now)) {
        key = known.key;
        return true;
    }
    if (!GetPackageDir(PackageDir::ETC).empty() &&
        (ReadKey(path, key) || (errno == ENOENT && MakeKey(path) && ReadKey(path, key)))) {
        known = isThere ? KnownKey{path, now, key} : KnownKey();
        return true;
    }
    PKG_LOG(LOG_CATEG_GENERAL, LOG_LEVEL_ERR, "Failed to read or make password key [%s]: %m.\n",
            path.c_str());
    return false;
}

std::string ToBase64(const Bytes& bytes)
{
    std::string text(4 * ((bytes.size() + 2) / 3) + 1, '\0');
    const int size = EVP_EncodeBlock(reinterpret_cast<unsigned char*>(text.data()), bytes.data(),
                                     static_cast<int>(bytes.size()));
    text.resize(static_cast<std::size_t>(size));
    return text;
}

bool FromBase64(const std::string& text, Bytes& bytes)
{
    if (text.empty() || text.size() % 4 != 0) {
        return false;
    }
    bytes.resize(text.size() / 4 * 3);
    const int size = EVP_DecodeBlock(bytes.data(), reinterpret_cast<const unsigned char*>(text.data()),
                                     static_cast<int>(text.size()));
    const std::size_t padding = text.back() != '=' ? 0 : (text[text.size() - 2] == '=' ? 2 : 1);
    if (size < 0) {
        return false;
    }
    bytes.resize(static_cast<std::size_t>(size) - padding);
    return ToBase64(bytes) == text; // bits that no byte holds are not to be altered either
}

/// Looked up once: a look-up takes longer than deciphering a password.
const EVP_CIPHER* Cipher() noexcept
{
    static EVP_CIPHER* const pCipher = EVP_CIPHER_fetch(nullptr, "AES-256-GCM", nullptr);
    return pCipher;
}

/// nonce, cipher text, tag
bool Seal(const Key& key, const std::string& plain, Bytes& sealed)
{
    const CipherCtx ctx(EVP_CIPHER_CTX_new(), EVP_CIPHER_CTX_free);
    sealed.resize(NONCE_SIZE + plain.size() + TAG_SIZE);
    unsigned char* const body = sealed.data() + NONCE_SIZE;
    int size = 0;
    int rest = 0;
    return ctx && RAND_bytes(sealed.data(), NONCE_SIZE) == 1 &&
           EVP_EncryptInit_ex(ctx.get(), Cipher(), nullptr, key.data(), sealed.data()) == 1 &&
           EVP_EncryptUpdate(ctx.get(), body, &size, reinterpret_cast<const unsigned char*>(plain.data()),
                             static_cast<int>(plain.size())) == 1 &&
           EVP_EncryptFinal_ex(ctx.get(), body + size, &rest) == 1 &&
           EVP_CIPHER_CTX_ctrl(ctx.get(), EVP_CTRL_GCM_GET_TAG, TAG_SIZE, body + plain.size()) == 1;
}

bool Open(const Key& key, Bytes& sealed, std::string& plain)
{
    if (sealed.size() < NONCE_SIZE + TAG_SIZE) {
        return false;
    }
    const CipherCtx ctx(EVP_CIPHER_CTX_new(), EVP_CIPHER_CTX_free);
    const std::size_t bodySize = sealed.size() - NONCE_SIZE - TAG_SIZE;
    unsigned char* const body = sealed.data() + NONCE_SIZE;
    std::string opened(bodySize + 1, '\0');
    auto* const out = reinterpret_cast<unsigned char*>(opened.data());
    int size = 0;
    int rest = 0;
    const bool isOpen =
        ctx && EVP_DecryptInit_ex(ctx.get(), Cipher(), nullptr, key.data(), sealed.data()) == 1 &&
        EVP_DecryptUpdate(ctx.get(), out, &size, body, static_cast<int>(bodySize)) == 1 &&
        EVP_CIPHER_CTX_ctrl(ctx.get(), EVP_CTRL_GCM_SET_TAG, TAG_SIZE, body + bodySize) == 1 &&
        EVP_DecryptFinal_ex(ctx.get(), out + size, &rest) == 1;
    if (isOpen) {
        opened.resize(bodySize);
        plain = std::move(opened);
    }
    return isOpen;
}

} // namespace

int EncryptDBPasswd(const std::string& passwd, std::string& out) noexcept
try {
    if (passwd.empty()) {
        out.clear();
        return 0;
    }
    Key key{};
    Bytes sealed;
    if (!LoadKey(key)) {
        return -1;
    }
    if (!Seal(key, passwd, sealed)) {
        PKG_LOG(LOG_CATEG_GENERAL, LOG_LEVEL_ERR, "Failed to encipher a password.\n");
        return -1;
    }
    out = PREFIX + ToBase64(sealed);
    return 0;
} catch (const std::exception& error) {
    PKG_LOG(LOG_CATEG_GENERAL, LOG_LEVEL_ERR, "Failed to encipher a password [%s].\n", error.what());
    return -1;
}

int DecryptDBPasswd(const std::string& text, std::string& out) noexcept
try {
    if (text.empty()) {
        out.clear();
        return 0;
    }
    Key key{};
    Bytes sealed;
    if (!LoadKey(key)) {
        return -1;
    }
    if (text.compare(0, PREFIX_SIZE, PREFIX) != 0 || !FromBase64(text.substr(PREFIX_SIZE), sealed) ||
        !Open(key, sealed, out)) {
        PKG_LOG(LOG_CATEG_GENERAL, LOG_LEVEL_ERR,
                "Failed to decipher a password: it was altered, or enciphered under another key.\n");
        return -1;
    }
    return 0;
} catch (const std::exception& error) {
    PKG_LOG(LOG_CATEG_GENERAL, LOG_LEVEL_ERR, "Failed to decipher a password [%s].\n", error.what());
    return -1;
}
