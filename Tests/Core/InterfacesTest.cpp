#include <sstream>
#include <stdexcept>
#include <thread>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "Core/Interfaces/Exception.h"
#include "Core/Interfaces/Property.h"
#include "Core/Interfaces/RefCount.h"
#include "Core/Interfaces/Statistics.h"
#include "Proc/Interfaces/FilterException.h"
#include "Proc/Interfaces/TimeToProgress.h"
#include "Tests/Support/Caught.h"

namespace Kaltor::Tests {
namespace {

using Core::Property;
using Core::PropertyException;
using testing::HasSubstr;

TEST(Exceptions, CarryTheThrowingPlaceAndTheCallStack) {
    int const line = __LINE__ + 1;
    Caught const here = Catch<std::invalid_argument>([] { Core::Throw(std::invalid_argument("bad")); });
    EXPECT_EQ(here.what, "bad");
    EXPECT_EQ(here.line, line);
    EXPECT_THAT(here.function, HasSubstr("TestBody"));
    EXPECT_EQ(here.file, "Tests/Core/InterfacesTest.cpp");  // told from the root, whatever the machine
    EXPECT_GT(here.stackDepth, 2U);

    Caught const fixed = Catch<std::logic_error>([] { Core::Throw(std::logic_error("x"), {"void F()", "A/B", 7}); });
    EXPECT_EQ(fixed.function, "void F()");
    EXPECT_EQ(fixed.file, "A/B");
    EXPECT_EQ(fixed.line, 7);
}

TEST(Exceptions, KeepTypeAndTagsOnTheWayToAnotherThread) {
    std::exception_ptr carried;
    std::thread([&carried] {
        try {
            Proc::ThrowFilterException("no such thing", {"f", "g", 3});
        } catch (...) {
            carried = std::current_exception();
        }
    }).join();
    EXPECT_EQ(Core::Describe(carried), "no such thing");
    Caught const caught = Catch<Proc::FilterException>([&carried] { std::rethrow_exception(carried); });
    EXPECT_EQ(caught.description, "no such thing");
    EXPECT_EQ(caught.line, 3);
    EXPECT_GT(caught.stackDepth, 0U);
    EXPECT_EQ(Core::Describe(std::make_exception_ptr(7)), "unknown error");
}

TEST(CallStacks, PrintALineForEachFrame) {
    Core::CallStack const stack = Core::GetCallStack();
    std::ostringstream text;
    text << stack;
    std::string const printed = text.str();
    EXPECT_EQ(std::count(printed.begin(), printed.end(), '\n'), static_cast<std::ptrdiff_t>(stack.frames.size()));
    EXPECT_THAT(printed, HasSubstr("0# "));
    // Core::GetCallStack itself is not of it: the first frame is this test.
    EXPECT_THAT(printed.substr(0, printed.find('\n')), testing::Not(HasSubstr("GetCallStack")));
}

TEST(Properties, HoldATree) {
    Property root("Root");
    root.SetChild("depth", Property::Of(std::int64_t{-3}));
    root.SetChild("inner", Property("Inner")).SetChild("name", Property::Of(std::string("n")));
    EXPECT_EQ(root.GetClassId(), "Root");
    EXPECT_EQ(root.GetChild("depth").Get<std::int64_t>(), -3);
    EXPECT_EQ(root.GetChild("inner").GetChild("name").Get<std::string>(), "n");
    EXPECT_FALSE(root.HasChild("name"));
    Property copy = root;
    EXPECT_EQ(copy, root);
    copy.SetChild("depth", Property::Of(std::int64_t{-2}));
    EXPECT_NE(copy, root);
    EXPECT_STREQ(Property::Of(true).GetTypeName(), "flag");
    EXPECT_STREQ(Property::Of(std::uint64_t{1}).GetTypeName(), "unsigned");
    EXPECT_STREQ(Property("X").GetTypeName(), "object");
}

TEST(Properties, TellMethodNameAndTypeOfAnError) {
    auto const tags = [](auto const& action) {
        try {
            action();
        } catch (PropertyException const& error) {
            std::vector<std::string> texts;
            for (std::string const* const tag : {boost::get_error_info<PropertyException::TagMethodName>(error),
                                                 boost::get_error_info<PropertyException::TagPropertyName>(error),
                                                 boost::get_error_info<PropertyException::TagPropertyType>(error)}) {
                texts.push_back(tag != nullptr ? *tag : "missing");
            }
            EXPECT_NE(boost::get_error_info<TagCallStack>(error), nullptr);
            return texts;
        }
        return std::vector<std::string>{"nothing was thrown"};
    };
    Property const root("Root");
    EXPECT_THAT(tags([&] { static_cast<void>(root.GetChild("gone")); }),
                testing::ElementsAre("GetChild", "gone", "object"));
    EXPECT_THAT(tags([&] { static_cast<void>(root.Get<double>()); }), testing::ElementsAre("Get", "Root", "object"));
    EXPECT_THAT(tags([] { Property::Of(1.5).SetChild("x", Property()); }),
                testing::ElementsAre("SetChild", "", "real"));
    // No silent conversion between numbers.
    EXPECT_THROW(static_cast<void>(Property::Of(1.5).Get<std::int64_t>()), Core::MethodIsNotApplicable);
}

TEST(Statistics, AreAPropertyTree) {
    Property const statistics = Core::MakeStatistics("GetStatistic", 12, 3);
    EXPECT_EQ(statistics.GetClassId(), Core::PerformanceTimer::IMPL_NAME);
    EXPECT_EQ(statistics.GetChild("Method").Get<std::string>(), "GetStatistic");
    EXPECT_EQ(statistics.GetChild("Time").Get<std::int64_t>(), 12);
    EXPECT_EQ(statistics.GetChild("Count").Get<std::uint64_t>(), 3U);
}

TEST(RefCounts, DeleteOnceUnderThreads) {
    struct Counted : RefCountImpl<IRefCount> {
        explicit Counted(int& counter) : deaths(counter) {}
        ~Counted() override { ++deaths; }
        int& deaths;
    };
    int deaths = 0;
    boost::intrusive_ptr<Counted> object(new Counted(deaths));
    EXPECT_EQ(object->GetRefCount(), 1);
    {
        std::vector<std::jthread> threads;
        for (int i = 0; i < 4; ++i) {
            threads.emplace_back([copy = object] {
                for (int round = 0; round < 10000; ++round) {
                    boost::intrusive_ptr<Counted> const another = copy;
                }
            });
        }
    }
    EXPECT_EQ(object->GetRefCount(), 1);
    object.reset();
    EXPECT_EQ(deaths, 1);
}

TEST(TimeToProgress, IsLinearAndNotClamped) {
    Proc::TimeToProgress progress;
    EXPECT_EQ(progress.GetProgress(500000), 0.5);
    EXPECT_EQ(progress.GetProgress(-1000000), -1.0);
    EXPECT_EQ(progress.GetProgress(3000000), 3.0);
    progress.start = 2000000;
    progress.stop = 1000000;  // runs backwards
    EXPECT_EQ(progress.GetProgress(1250000), 0.75);
    progress.stop = progress.start;
    EXPECT_TRUE(std::isinf(progress.GetProgress(3)));
    EXPECT_TRUE(std::isnan(progress.GetProgress(progress.start)));
}

}  // namespace
}  // namespace Kaltor::Tests
