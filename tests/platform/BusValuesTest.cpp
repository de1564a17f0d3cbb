// SPDX-License-Identifier: Apache-2.0
#include "platform/linux/BusValues.h"

#include <gtest/gtest.h>

#include <QDBusMetaType>
#include <QDBusObjectPath>
#include <QStringList>
#include <limits>

#include "platform/linux/BusService.h"
#include "support/Eventually.h"
#include "support/MockService.h"
#include "support/PrivateBus.h"

using namespace corvanta;
using namespace corvanta::test;

namespace {

const QString key = QStringLiteral("k");

using SentInterfaces = QMap<QString, QVariantMap>;
using SentObjects = QMap<QDBusObjectPath, SentInterfaces>;

QVariantMap holding(const QVariant& value) {
    return {{key, value}};
}

/// The arguments as they arrive after a way over a bus.
QVariantList sent(const QVariant& value) {
    const PrivateBus bus;
    const QString name = QStringLiteral("com.example.Sender");
    const BusPeer peer(bus.address(), name,
                       [&](const QDBusMessage& call) { return call.createReply(value); });
    BusService service([&] { return connectionTo(bus.address(), QStringLiteral("service")); },
                       {.name = name});
    return onWorker([&] { return service.call(QStringLiteral("/"), name, QStringLiteral("Get")).arguments; });
}

}  // namespace

TEST(BusValues, anIntegerMayBeOfAnyWidth) {
    EXPECT_EQ(integerOf(holding(QVariant::fromValue<uchar>(200)), key), 200);
    EXPECT_EQ(integerOf(holding(QVariant::fromValue<short>(-2)), key), -2);
    EXPECT_EQ(integerOf(holding(QVariant::fromValue<ushort>(60000)), key), 60000);
    EXPECT_EQ(integerOf(holding(-3), key), -3);
    EXPECT_EQ(integerOf(holding(4'000'000'000U), key), 4'000'000'000);
    EXPECT_EQ(integerOf(holding(qlonglong(-5)), key), -5);
    EXPECT_EQ(integerOf(holding(qulonglong(std::numeric_limits<qlonglong>::max())), key),
              std::numeric_limits<std::int64_t>::max());
    EXPECT_EQ(integerOf(holding(std::numeric_limits<qulonglong>::max()), key), std::nullopt);
}

TEST(BusValues, whatIsNoIntegerIsAbsent) {
    EXPECT_EQ(integerOf({}, key), std::nullopt);
    EXPECT_EQ(integerOf(holding(1.0), key), std::nullopt);
    EXPECT_EQ(integerOf(holding(true), key), std::nullopt);
    EXPECT_EQ(integerOf(holding(QStringLiteral("1")), key), std::nullopt);
}

TEST(BusValues, aNumberIsFinite) {
    EXPECT_EQ(numberOf(holding(1.5), key), 1.5);
    EXPECT_EQ(numberOf(holding(7U), key), 7.0);
    EXPECT_EQ(numberOf(holding(std::numeric_limits<double>::quiet_NaN()), key), std::nullopt);
    EXPECT_EQ(numberOf(holding(std::numeric_limits<double>::infinity()), key), std::nullopt);
    EXPECT_EQ(numberOf(holding(QStringLiteral("1.5")), key), std::nullopt);
}

TEST(BusValues, aFlagIsNothingButAFlag) {
    EXPECT_EQ(boolOf(holding(true), key), true);
    EXPECT_EQ(boolOf(holding(false), key), false);
    EXPECT_EQ(boolOf(holding(1), key), std::nullopt);
    EXPECT_EQ(boolOf({}, key), std::nullopt);
}

TEST(BusValues, aTextMayBeAPath) {
    EXPECT_EQ(textOf(holding(QStringLiteral("für")), key), "für");
    EXPECT_EQ(textOf(holding(QVariant::fromValue(QDBusObjectPath(QStringLiteral("/a")))), key), "/a");
    EXPECT_EQ(textOf(holding(1), key), std::nullopt);
}

TEST(BusValues, propertiesComeOverTheBus) {
    const auto properties = propertiesOf(sent(QVariantMap{{key, 5}}));
    ASSERT_TRUE(properties);
    EXPECT_EQ(integerOf(*properties, key), 5);
}

TEST(BusValues, anotherShapeIsNoSetOfPropertiesObjectsOrPaths) {
    for (const QVariant& value : {QVariant(5), QVariant(QStringLiteral("x")), QVariant(QStringList{key}),
                                  QVariant(QVariantList{1, 2})}) {
        const QVariantList arguments = sent(value);
        ASSERT_EQ(arguments.size(), 1);
        EXPECT_FALSE(propertiesOf(arguments));
        EXPECT_FALSE(managedObjectsOf(arguments));
        EXPECT_FALSE(pathsOf(arguments));
    }
    EXPECT_FALSE(managedObjectsOf(sent(QVariantMap{{key, 5}})));
    EXPECT_FALSE(propertiesOf({}));
}

TEST(BusValues, managedObjectsComeWithTheirInterfaces) {
    qDBusRegisterMetaType<SentInterfaces>();
    qDBusRegisterMetaType<SentObjects>();
    const SentObjects objects = {
        {QDBusObjectPath(QStringLiteral("/one")),
         {{QStringLiteral("com.example.A"), {{key, 5}}}, {QStringLiteral("com.example.B"), {}}}},
        {QDBusObjectPath(QStringLiteral("/two")), {}}};
    const BusObjects expected = {
        {QStringLiteral("/one"),
         {{QStringLiteral("com.example.A"), {{key, 5}}}, {QStringLiteral("com.example.B"), {}}}},
        {QStringLiteral("/two"), {}}};
    EXPECT_EQ(managedObjectsOf(sent(QVariant::fromValue(objects))), expected);
}

TEST(BusValues, pathsComeInTheirOrder) {
    const QList<QDBusObjectPath> paths = {QDBusObjectPath(QStringLiteral("/b")),
                                          QDBusObjectPath(QStringLiteral("/a"))};
    EXPECT_EQ(pathsOf(sent(QVariant::fromValue(paths))),
              (QStringList{QStringLiteral("/b"), QStringLiteral("/a")}));
}

TEST(BusValues, aSignalAboutInterfacesOfAnotherShapeIsAbsent) {
    const QVariant path = QVariant::fromValue(QDBusObjectPath(QStringLiteral("/a")));
    const QStringList names{QStringLiteral("com.example.One")};
    const auto signal = [](const char* member, const QVariantList& arguments) {
        QDBusMessage message = QDBusMessage::createSignal(QStringLiteral("/"), QStringLiteral("com.example"),
                                                          QLatin1String(member));
        message.setArguments(arguments);
        return message;
    };
    const auto removed = removedInterfacesOf(signal("InterfacesRemoved", {path, names}));
    ASSERT_TRUE(removed);
    EXPECT_EQ(removed->path, QStringLiteral("/a"));
    EXPECT_EQ(removed->interfaces, names);
    for (const QVariantList& arguments :
         {QVariantList{}, QVariantList{path}, QVariantList{path, 7}, QVariantList{names, names},
          QVariantList{path, names, names}, QVariantList{path, QVariantMap()}}) {
        EXPECT_FALSE(removedInterfacesOf(signal("InterfacesRemoved", arguments)));
        EXPECT_FALSE(addedInterfacesOf(signal("InterfacesAdded", arguments)));
    }
    EXPECT_FALSE(removedInterfacesOf(signal("InterfacesAdded", {path, names})));
}
