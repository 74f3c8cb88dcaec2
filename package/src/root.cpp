// SPDX-License-Identifier: Apache-2.0
// package/src/root.cpp - where the package's folders are, and with which modes they are made.
#include "package/root.h"

#include <sys/stat.h>

#include <cerrno>
#include <cstdlib>

namespace {

struct DirSpec {
    const char* name;
    mode_t mode;
};

DirSpec SpecOf(PackageDir dir) noexcept
{
    switch (dir) {
    case PackageDir::ETC:
        return {"etc", 0700};
    case PackageDir::DB:
        return {"db", 0700};
    case PackageDir::REC:
        return {"rec", 0750};
    case PackageDir::LOG:
        return {"log", 0750};
    case PackageDir::ARCHIVE:
        return {"archive", 0750};
    case PackageDir::RUN:
        break;
    }
    return {"run", 0700};
}

bool MakeDir(const std::string& path, mode_t mode) noexcept
{
    return ::mkdir(path.c_str(), mode) == 0 || errno == EEXIST;
}

} // namespace

std::string GetPackageRoot()
{
    const char* const fromEnv = std::getenv("VX_ROOT");
    std::string root = (fromEnv != nullptr && *fromEnv != '\0') ? fromEnv : "/var/lib/vx";
    while (root.size() > 1 && root.back() == '/') {
        root.pop_back();
    }
    return root;
}

std::string GetPackageDir(PackageDir dir)
{
    const DirSpec spec = SpecOf(dir);
    const std::string root = GetPackageRoot();
    std::string path = root + "/" + spec.name;
    if (MakeDir(path, spec.mode)) {
        return path;
    }
    if (errno == ENOENT && MakeDir(root, 0755) && MakeDir(path, spec.mode)) {
        return path;
    }
    return {};
}

std::string GetPackagePath(PackageDir dir, const std::string& name)
{
    static_cast<void>(GetPackageDir(dir)); // when it cannot be made, opening says so
    return GetPackageRoot() + "/" + SpecOf(dir).name + "/" + name;
}
