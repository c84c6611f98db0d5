#include "CertificateMaker.h"

#include "TempDir.h"

#include <gtest/gtest.h>
#include <openssl/pem.h>
#include <openssl/x509.h>

#include <cstdio>
#include <filesystem>

using lumo_service::CertificateMaker;

namespace {

int NoRandomness(unsigned char*, int)
{
    return 0;
}

int FixedRandomness(unsigned char* buffer, int size)
{
    for (int i = 0; i < size; ++i) {
        buffer[i] = static_cast<unsigned char>(0xa5);
    }
    return 1;
}

std::string SerialOf(const std::string& path)
{
    FILE* file = std::fopen(path.c_str(), "r");
    if (file == nullptr) {
        return std::string();
    }
    X509* cert = PEM_read_X509(file, nullptr, nullptr, nullptr);
    std::fclose(file);
    if (cert == nullptr) {
        return std::string();
    }
    BIGNUM* number = ASN1_INTEGER_to_BN(X509_get_serialNumber(cert), nullptr);
    char* hex = number != nullptr ? BN_bn2hex(number) : nullptr;
    const std::string serial = hex != nullptr ? hex : "";
    OPENSSL_free(hex);
    BN_free(number);
    X509_free(cert);
    return serial;
}

} // namespace

TEST(CertificateMakerTest, NoRandomSerialMeansNoCertificateAndNothingLeftBehind)
{
    lumo_test::TempDir dir;
    std::string error;
    EXPECT_FALSE(CertificateMaker::Make("localhost", dir.File("c.pem"), dir.File("k.pem"), error, &NoRandomness));
    EXPECT_EQ("cannot draw a random serial number", error);
    EXPECT_FALSE(std::filesystem::exists(dir.File("c.pem")));
    EXPECT_FALSE(std::filesystem::exists(dir.File("k.pem")));
}

TEST(CertificateMakerTest, TheGivenRandomnessMakesTheSerialAndTheDefaultOneWorks)
{
    lumo_test::TempDir dir;
    std::string error;
    ASSERT_TRUE(CertificateMaker::Make("localhost", dir.File("c.pem"), dir.File("k.pem"), error, &FixedRandomness))
        << error;
    // The top bit is cleared, keeping the serial positive.
    EXPECT_EQ("25A5A5A5A5A5A5A5A5A5A5A5A5A5A5A5", SerialOf(dir.File("c.pem")));
    ASSERT_TRUE(CertificateMaker::Make("localhost", dir.File("c2.pem"), dir.File("k2.pem"), error)) << error;
    const std::string drawn = SerialOf(dir.File("c2.pem"));
    EXPECT_FALSE(drawn.empty());
    EXPECT_NE("25A5A5A5A5A5A5A5A5A5A5A5A5A5A5A5", drawn);
}
