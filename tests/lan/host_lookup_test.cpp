// From a printer's name to its host, and from the host's name to addresses.
#include "lan/host_lookup.h"

#include <algorithm>

#include "lan/support/lan_fixture.h"
#include "lan/support/name_service.h"

namespace sc3xxmon::test {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::Pair;

constexpr wchar_t kHost[] = L"printer.example";

class HostLookup : public ::testing::Test {
 protected:
  TestHost host;
};

TEST_F(HostLookup, GoesFromThePrinterToItsPortToTheHost) {
  host.SetText(std::wstring(kPrinterKeys) + L"Labels", L"Port", L"IP_10.0.0.5");
  host.SetText(std::wstring(kPortKeys) + L"IP_10.0.0.5", L"HostName", L"10.0.0.5");
  EXPECT_EQ(GetPrinterHostName(L"Labels"), L"10.0.0.5");
  auto values = host.queriedValues;
  values.erase(std::unique(values.begin(), values.end()),
               values.end());  // in how many calls is the registry's business
  EXPECT_THAT(values, ElementsAre(Pair(std::wstring(kPrinterKeys) + L"Labels", L"Port"),
                                  Pair(std::wstring(kPortKeys) + L"IP_10.0.0.5", L"HostName")));
}

TEST_F(HostLookup, WithoutAPrinterNameNothingIsAsked) {
  EXPECT_EQ(GetPrinterHostName(L""), L"");
  EXPECT_THAT(host.queriedValues, IsEmpty());
}

TEST_F(HostLookup, PrinterWithoutAPortHasNoHostAndNoPortIsTried) {
  host.SetText(std::wstring(kPrinterKeys) + L"Labels", L"Other", L"x");
  EXPECT_EQ(GetPrinterHostName(L"Labels"), L"");
  for (const auto& [key, name] : host.queriedValues) {
    EXPECT_EQ(key, std::wstring(kPrinterKeys) + L"Labels");
    EXPECT_EQ(name, L"Port");
  }
}

TEST_F(HostLookup, UnknownPrinterHasNoHost) {
  EXPECT_EQ(GetPrinterHostName(L"Nobody's"), L"");
}

TEST_F(HostLookup, PortThatTheTcpPortMonitorDoesntKnowHasNoHost) {
  host.SetText(std::wstring(kPrinterKeys) + L"Labels", L"Port", L"LPT1:");
  EXPECT_EQ(GetPrinterHostName(L"Labels"), L"");
}

TEST_F(HostLookup, PortWithoutAHostNameHasNoHost) {
  host.SetText(std::wstring(kPrinterKeys) + L"Labels", L"Port", L"IP_1");
  host.SetText(std::wstring(kPortKeys) + L"IP_1", L"IPAddress", L"10.0.0.5");
  EXPECT_EQ(GetPrinterHostName(L"Labels"), L"");
}

TEST_F(HostLookup, ListOfPortsIsOneNameAndFindsNothing) {
  host.SetText(std::wstring(kPrinterKeys) + L"Labels", L"Port", L"IP_1,IP_2");
  host.SetText(std::wstring(kPortKeys) + L"IP_1", L"HostName", L"10.0.0.1");
  host.SetText(std::wstring(kPortKeys) + L"IP_2", L"HostName", L"10.0.0.2");
  EXPECT_EQ(GetPrinterHostName(L"Labels"), L"");
  EXPECT_EQ(host.queriedValues.size(), 2u) << "the port's key isn't there, so that no value of it is asked for";
}

TEST_F(HostLookup, NoFailureIsLogged) {
  TestHost::SetDebugLevel(1);
  const NameService names;
  GetPrinterHostName(L"Nobody's");
  ResolveHostAddresses(kHost);
  EXPECT_THAT(host.log, IsEmpty());
}

// --- addresses

class AddressLookup : public HostLookup {
 protected:
  HostAddresses AddressesOf(const std::vector<std::wstring>& inOrder) {
    names.Set(kHost, inOrder);
    return ResolveHostAddresses(kHost);
  }

  NameService names;
};

TEST_F(AddressLookup, TakesOneOfEachFamily) {
  const HostAddresses found = AddressesOf({L"2001:db8::7", L"10.0.0.7"});
  EXPECT_EQ(found.ipv4, L"10.0.0.7");
  EXPECT_EQ(found.ipv6, L"2001:db8::7");
}

TEST_F(AddressLookup, AsksForStreamsOfAnyFamilyOnce) {
  AddressesOf({L"10.0.0.7"});
  ASSERT_EQ(names.QuestionCount(), 1u);
  const auto question = names.Questions().front();
  EXPECT_EQ(question.host, "printer.example");
  EXPECT_TRUE(question.anyFamily);
  EXPECT_TRUE(question.plainStream);
}

TEST_F(AddressLookup, TheFirstOfTwoIPv4AddressesWins) {
  EXPECT_EQ(AddressesOf({L"10.0.0.7", L"10.0.0.8"}).ipv4, L"10.0.0.7");
}

TEST_F(AddressLookup, TheFirstOfTwoIPv6AddressesWins) {
  EXPECT_EQ(AddressesOf({L"2001:db8::1", L"2001:db8::2"}).ipv6, L"2001:db8::1");
}

TEST_F(AddressLookup, LoopbackIsSkippedForTheAddressBehindIt) {
  EXPECT_EQ(AddressesOf({L"127.0.0.1", L"10.0.0.7"}).ipv4, L"10.0.0.7");
  EXPECT_EQ(AddressesOf({L"::1", L"2001:db8::7"}).ipv6, L"2001:db8::7");
}

TEST_F(AddressLookup, OnlyTheTwoExactLoopbackAddressesAreSkipped) {
  EXPECT_EQ(AddressesOf({L"127.0.0.2"}).ipv4, L"127.0.0.2");
  EXPECT_EQ(AddressesOf({L"127.255.0.1"}).ipv4, L"127.255.0.1");
  EXPECT_EQ(AddressesOf({L"::2"}).ipv6, L"::2");
  EXPECT_EQ(AddressesOf({L"::ffff:127.0.0.1"}).ipv6, L"::ffff:127.0.0.1");
}

TEST_F(AddressLookup, HostOfLoopbackAloneIsAskedForASecondTimeAndHasNone) {
  const HostAddresses found = AddressesOf({L"::1", L"127.0.0.1"});
  EXPECT_EQ(found.ipv4, L"");
  EXPECT_EQ(found.ipv6, L"");
  ASSERT_EQ(names.QuestionCount(), 2u);
  EXPECT_TRUE(names.Questions()[0].anyFamily);
  EXPECT_TRUE(names.Questions()[1].ipv4Only);
  EXPECT_TRUE(names.Questions()[1].plainStream);
}

TEST_F(AddressLookup, UnknownHostIsAskedForASecondTimeAndHasNone) {
  const HostAddresses found = ResolveHostAddresses(L"nobody.example");
  EXPECT_TRUE(found.ipv4.empty() && found.ipv6.empty());
  EXPECT_EQ(names.QuestionCount(), 2u);
}

TEST_F(AddressLookup, WithoutAHostNameNothingIsAsked) {
  HostAddresses addresses;
  EXPECT_FALSE(ResolveWithFamily(addresses, L"", platform::LookupFamily::kAny));
  EXPECT_TRUE(ResolveHostAddresses(L"").ipv4.empty());
  EXPECT_EQ(names.QuestionCount(), 0u);
}

TEST_F(AddressLookup, FillsOnlyWhatIsStillEmpty) {
  names.Set(kHost, {L"10.0.0.9", L"2001:db8::9"});
  HostAddresses addresses{L"10.0.0.1", L""};
  EXPECT_TRUE(ResolveWithFamily(addresses, kHost, platform::LookupFamily::kAny));
  EXPECT_EQ(addresses.ipv4, L"10.0.0.1");
  EXPECT_EQ(addresses.ipv6, L"2001:db8::9");
}

TEST_F(AddressLookup, WhatWasFilledBeforeCountsAsFound) {
  HostAddresses addresses{L"10.0.0.1", L""};
  EXPECT_TRUE(ResolveWithFamily(addresses, L"nobody.example", platform::LookupFamily::kAny));
  EXPECT_EQ(addresses.ipv4, L"10.0.0.1");
}

// The system's own service, without a look-up that leaves the machine.
TEST_F(HostLookup, NumericAddressStandsForItself) {
  EXPECT_EQ(ResolveHostAddresses(L"10.1.2.3").ipv4, L"10.1.2.3");
  EXPECT_EQ(ResolveHostAddresses(L"10.1.2.3").ipv6, L"");
  EXPECT_EQ(ResolveHostAddresses(L"2001:db8::5").ipv6, L"2001:db8::5");
  EXPECT_EQ(ResolveHostAddresses(L"2001:db8::5").ipv4, L"");
  EXPECT_EQ(ResolveHostAddresses(L"127.0.0.1").ipv4, L"");
}

TEST_F(HostLookup, GarbageForAHostNameHasNoAddress) {
  const NameService names;
  for (const wchar_t* garbage : {L"10.0.0.5:9100", L" ", L"//printer", L"\x01\x02", L"\xD800", L"1.2.3.4.5"}) {
    const HostAddresses found = ResolveHostAddresses(garbage);
    EXPECT_TRUE(found.ipv4.empty() && found.ipv6.empty());
  }
  EXPECT_TRUE(ResolveHostAddresses(std::wstring(5000, L'x')).ipv4.empty());
}

}  // namespace
}  // namespace sc3xxmon::test
