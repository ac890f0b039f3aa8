#include "FrameworkParts.h"

#include "host/HTTP.h"
#include "host/Platform.h"
#include "host/PropertySet.h"
#include "host/Trace.h"

#include <gtest/gtest.h>

namespace
{

TEST(Trace, LinesReachTheSinkAsTheyStandUnderTheCurrentName)
{
    const FrameworkGuard Guard;
    RecordingSink Sink;
    CTraceProducer Producer;
    devhost::TheFramework().pDiagnostics = nullptr;
    Producer.Trace("dropped");
    AssertWrap("dropped", 1, "dropped");

    devhost::TheFramework().pDiagnostics = &Sink;
    EXPECT_NE(Producer.TraceName("A"), 0);
    EXPECT_EQ(Producer.TraceName("A"), 0);
    Producer.Trace("100% %s %n");
    EXPECT_NE(Producer.TraceName("B"), 0);
    Producer.Trace(CQXString("by value %s"));
    Producer.Trace(static_cast<const char*>(nullptr));
    Producer.Trace(Producer.FormatLine("Got [%d:%%s]", 5));
    AssertWrap("vestarai", 888, "no format %s");
    AssertWrap(nullptr, 0, nullptr);
    EXPECT_EQ(Sink.Lines(), (std::vector<std::string>{"A|100% %s %n", "B|by value %s", "B|Got [5:%s]",
                                                      "vestarai:888|no format %s", ":0|"}));
}

TEST(Platform, BearsMissingPartsAndAsksThoseThatAreThere)
{
    const FrameworkGuard Guard;
    devhost::TheFramework() = {};
    Sleep(4000000000u);
    EXPECT_EQ(SetMainLoopTrigger(), 0);
    EXPECT_TRUE(OAuthRedirectURI(OAUTH_REDIRECT_LOCAL).IsEmpty());
    devhost::TheFramework().WakeMainLoop = [] { return 1; };
    devhost::TheFramework().RedirectURI = [](int iSchema) {
        return "http://host/" + std::to_string(iSchema);
    };
    EXPECT_EQ(SetMainLoopTrigger(), 1);
    EXPECT_STREQ(OAuthRedirectURI(static_cast<OAUTH_REDIRECT_SCHEMA>(-7)), "http://host/-7");
}

TEST(PropertySet, FindsByIdAndBearsUnknownOnes)
{
    CPropertySet Set;
    CSystemProperty* pStatus = Set.AddTextProperty("Status", "ok", 2000, 9);
    CSystemProperty* pHouse = Set.AddMultiProperty("House", -1, 2001, 0);
    EXPECT_EQ(Set.Property(2001), pHouse);
    EXPECT_EQ(Set.Property(1), nullptr);
    Set.SetAttribBits(1, 4);
    Set.SetAttribBits(2000, 4);
    Set.SetAttribBits(2000, 1);
    EXPECT_EQ(pStatus->AttribBits(), 5);
    EXPECT_EQ(pHouse->AttribBits(), 0);
    Set.AddAction(20002, "Authorise");
    EXPECT_EQ(Set.DeleteAction(20003), 0);
    EXPECT_NE(Set.DeleteAction(20002), 0);
    EXPECT_TRUE(Set.Actions().empty());
}

} // namespace
