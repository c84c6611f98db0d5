#include "online/YuvLumoUtil.h"

#include <gtest/gtest.h>

#include <QDateTime>
#include <QHostAddress>
#include <QNetworkInterface>
#include <QStringList>

namespace {

QStringList debugLines;

void CaptureDebug(QtMsgType type, const QMessageLogContext&, const QString& message)
{
    if (type == QtDebugMsg) {
        debugLines.append(message);
    }
}

class YuvLumoUtilTest : public ::testing::Test {
protected:
    void SetUp() override
    {
        debugLines.clear();
        previous = qInstallMessageHandler(CaptureDebug);
    }
    void TearDown() override { qInstallMessageHandler(previous); }

    QtMessageHandler previous = nullptr;
};

} // namespace

TEST_F(YuvLumoUtilTest, SameVersionIsUpToDate)
{
    EXPECT_EQ(1, YuvLumoUtil::versionCheck("3.0.0", "3.0.0"));
}

TEST_F(YuvLumoUtilTest, NewerMiddlePartOnTheServerIsAnUpdate)
{
    EXPECT_EQ(0, YuvLumoUtil::versionCheck("3.0.0", "3.1.0"));
    EXPECT_EQ(0, YuvLumoUtil::versionCheck("3.0.0", "4.0.0"));
}

TEST_F(YuvLumoUtilTest, NewerLastServerPartAloneIsIgnored)
{
    EXPECT_EQ(1, YuvLumoUtil::versionCheck("3.0.0", "3.0.1"));
    EXPECT_EQ(1, YuvLumoUtil::versionCheck("3.0.0", "3.0.9"));
}

TEST_F(YuvLumoUtilTest, NewerApplicationIsUpToDate)
{
    EXPECT_EQ(1, YuvLumoUtil::versionCheck("3.1.0", "3.0.5"));
}

TEST_F(YuvLumoUtilTest, SingleServerPartIsTheLastOne)
{
    EXPECT_EQ(1, YuvLumoUtil::versionCheck("2", "3"));
    EXPECT_EQ(1, YuvLumoUtil::versionCheck("3.0.0", "4"));
}

TEST_F(YuvLumoUtilTest, MissingServerPartsReadAsZero)
{
    EXPECT_EQ(1, YuvLumoUtil::versionCheck("3.0.1", "3.0"));
    EXPECT_EQ(0, YuvLumoUtil::versionCheck("2.0.0", "3.0"));
    EXPECT_EQ(1, YuvLumoUtil::versionCheck("3.0.0.0.0", "3"));
    EXPECT_TRUE(debugLines.contains("check version, app:0 / srvV:0"));
}

TEST_F(YuvLumoUtilTest, TextPartsCountAsZero)
{
    EXPECT_EQ(0, YuvLumoUtil::versionCheck("3.x.0", "3.1.0"));
    EXPECT_EQ(1, YuvLumoUtil::versionCheck("3.1.0", "3.beta.7"));
    EXPECT_EQ(1, YuvLumoUtil::versionCheck("3.0.0", ""));
}

TEST_F(YuvLumoUtilTest, EachComparedPartIsLogged)
{
    YuvLumoUtil::versionCheck("3.0.0", "3.1.0");
    EXPECT_EQ((QStringList {"check version, app:3 / srvV:3", "check version, app:0 / srvV:1"}), debugLines);
}

TEST_F(YuvLumoUtilTest, TimeIsNowInSeconds)
{
    const qint64 before = QDateTime::currentSecsSinceEpoch();
    const qint64 now = YuvLumoUtil::getTime();
    const qint64 after = QDateTime::currentSecsSinceEpoch();
    EXPECT_LE(before, now);
    EXPECT_LE(now, after);
}

TEST_F(YuvLumoUtilTest, HostAddressIsTheFirstNonLoopbackIpv4AndIsLogged)
{
    QString expected = QHostAddress(QHostAddress::LocalHost).toString();
    for (const QHostAddress& address : QNetworkInterface::allAddresses()) {
        if (address.protocol() == QAbstractSocket::IPv4Protocol && !address.isLoopback()) {
            expected = address.toString();
            break;
        }
    }
    const QString address = YuvLumoUtil::getHostIpAddress();
    EXPECT_EQ(expected, address);
    EXPECT_FALSE(QHostAddress(address).isNull());
    EXPECT_EQ(QStringList {"strIpAddress1 " + address}, debugLines);
}
