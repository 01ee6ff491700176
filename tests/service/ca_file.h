// The authority of a loopback server in a file, while it is needed.
#pragma once

#include <cstdio>
#include <string>

#include <unistd.h>

#include <gtest/gtest.h>

#include "loopback_tls.h"

namespace velorin_test {

class CaFile {
public:
    explicit CaFile(const LoopbackCertificates* certificates)
        : path_(testing::TempDir() + "velorin_ca_" + std::to_string(::getpid()) + ".pem")
    {
        EXPECT_TRUE(certificates != nullptr && certificates->write_ca(path_));
    }
    ~CaFile() { std::remove(path_.c_str()); }
    CaFile(const CaFile&) = delete;
    CaFile& operator=(const CaFile&) = delete;
    const std::string& path() const { return path_; }

private:
    std::string path_;
};

}  // namespace velorin_test
