#include "platform/dbus/bus.h"

#include <gtest/gtest.h>

#include <atomic>
#include <future>
#include <thread>

namespace tarn::platform::dbus {
namespace {

std::unique_ptr<Bus> connect() {
    std::string error;
    auto bus = Bus::session(error);
    EXPECT_TRUE(bus) << error;
    return bus;
}

// A peer on its own connection and thread that answers calls to /echo: "Echo" returns its
// arguments as they came (with the signature it is told in the first one), "Fail" answers a
// D-Bus error.
class Peer {
  public:
    Peer() {
        std::promise<std::string> named;
        auto ready = named.get_future();
        thread_ = std::thread([this, &named] {
            auto bus = connect();
            auto served = bus->serve("/echo", [](const Call& call) {
                if (call.member == "Fail") return Answer{{}, {}, Error{"org.tarn.Test.Nope", "no"}};
                std::vector<Value> rest(call.arguments.begin() + 1, call.arguments.end());
                return Answer{*call.arguments.front().text(), rest, std::nullopt};
            });
            named.set_value(bus->uniqueName());
            while (!stop_) bus->wait(20);
        });
        name_ = ready.get();
    }
    ~Peer() {
        stop_ = true;
        thread_.join();
    }
    Address address() const { return {name_, "/echo", "org.tarn.Test"}; }

  private:
    std::atomic<bool> stop_{false};
    std::string name_;
    std::thread thread_;
};

struct RoundTrip {
    std::string name;
    std::string signature;
    std::vector<Value> values;
    friend void PrintTo(const RoundTrip& trip, std::ostream* out) { *out << trip.signature; }
};

class BusRoundTrip : public ::testing::TestWithParam<RoundTrip> {};

TEST_P(BusRoundTrip, ValuesComeBackAsTheyWent) {
    Peer peer;
    auto bus = connect();
    const RoundTrip& trip = GetParam();
    std::vector<Value> arguments{trip.signature};
    arguments.insert(arguments.end(), trip.values.begin(), trip.values.end());
    Reply reply = bus->call(peer.address(), "Echo", "s" + trip.signature, arguments);
    ASSERT_TRUE(reply) << reply.error->describe();
    EXPECT_EQ(reply.values, trip.values);
}

INSTANTIATE_TEST_SUITE_P(
    Signatures, BusRoundTrip,
    ::testing::Values(
        RoundTrip{"Basic", "bsdo", {true, "é€", 2.5, ObjectPath{"/a/b"}}},
        RoundTrip{"Integers",
                  "yiuxt",
                  {std::uint8_t{255}, std::int32_t{-7}, std::uint32_t{4000000000u},
                   std::int64_t{-1} << 40, std::uint64_t{1} << 63}},
        RoundTrip{
            "Arrays",
            "a(iiii)as",
            {Array{Struct{{std::int32_t{1}, std::int32_t{-2}, std::int32_t{3}, std::int32_t{4}}}},
             Array{}}},
        RoundTrip{"DictsAndVariants",
                  "a{sv}v",
                  {Dict{{"nested", Dict{{"deep", Array{std::int32_t{1}}}}}, {"x", "y"}},
                   Struct{{"in", true}}}}),
    [](const auto& info) { return info.param.name; });

TEST(Bus, AValueThatDoesNotFitItsSignatureFailsBeforeAnythingIsSent) {
    Peer peer;
    auto bus = connect();
    for (const auto& [signature, value] :
         std::vector<std::pair<std::string, Value>>{{"i", "text"},
                                                    {"y", std::int32_t{256}},
                                                    {"u", std::int32_t{-1}},
                                                    {"(ii)", Struct{{std::int32_t{1}}}},
                                                    {"as", Dict{}}}) {
        Reply reply = bus->call(peer.address(), "Echo", "s" + signature, {signature, value});
        ASSERT_FALSE(reply) << signature;
        EXPECT_EQ(reply.error->name, "") << signature;
        EXPECT_NE(reply.error->message.find("does not fit"), std::string::npos)
            << reply.error->message;
    }
    Reply missing = bus->call(peer.address(), "Echo", "si", {"i"});
    ASSERT_FALSE(missing);
    EXPECT_NE(missing.error->message.find("fewer values"), std::string::npos);
}

TEST(Bus, AnErrorAnswerKeepsItsNameAndMessage) {
    Peer peer;
    auto bus = connect();
    Reply reply = bus->call(peer.address(), "Fail", "", {});
    ASSERT_FALSE(reply);
    EXPECT_EQ(reply.error->describe(), "org.tarn.Test.Nope: no");
    Reply nobody = bus->call({"org.tarn.Nobody", "/", ""}, "Ping", "", {});
    ASSERT_FALSE(nobody);
    EXPECT_EQ(nobody.error->name, "org.freedesktop.DBus.Error.ServiceUnknown");
}

TEST(Bus, SignalsReachSubscribersWhileTheSubscriptionLasts) {
    auto sender = connect();
    auto listener = connect();
    std::vector<std::vector<Value>> heard;
    auto subscription = listener->onSignal("", "/sig", "org.tarn.Test", "Pressed",
                                           [&](const std::string& member, const auto& arguments) {
                                               EXPECT_EQ(member, "Pressed");
                                               heard.push_back(arguments);
                                           });
    ASSERT_TRUE(subscription);
    // The match is in place once a round trip to the bus has been made.
    listener->call({"org.freedesktop.DBus", "/org/freedesktop/DBus", "org.freedesktop.DBus"},
                   "GetId", "", {});
    std::string error;
    ASSERT_TRUE(sender->emitSignal("/sig", "org.tarn.Test", "Other", "", {}, error)) << error;
    ASSERT_TRUE(sender->emitSignal("/sig", "org.tarn.Test", "Pressed", "su",
                                   {"a", std::uint32_t{3}}, error))
        << error;
    for (int i = 0; i < 100 && heard.empty(); ++i) listener->wait(50);
    ASSERT_EQ(heard.size(), 1u);
    EXPECT_EQ(heard[0], (std::vector<Value>{"a", std::uint32_t{3}}));

    subscription.reset();
    ASSERT_TRUE(sender->emitSignal("/sig", "org.tarn.Test", "Pressed", "", {}, error));
    listener->wait(200);
    EXPECT_EQ(heard.size(), 1u);
}

TEST(Bus, AWellKnownNameIsHeldByOneConnection) {
    auto first = connect();
    auto second = connect();
    std::string error;
    EXPECT_TRUE(first->requestName("org.tarn.Test.Held", error)) << error;
    EXPECT_FALSE(second->requestName("org.tarn.Test.Held", error));
    EXPECT_EQ(error, "another program has the name org.tarn.Test.Held");
}

}  // namespace
}  // namespace tarn::platform::dbus
