#include "Core/Interfaces/Exception.h"
#include "Core/Interfaces/Property.h"
#include "Core/Interfaces/RefCount.h"
#include "Core/ParseNumber.h"
#include "Proc/Interfaces/FilterException.h"
#include "Proc/Interfaces/TimeToProgress.h"
#include "Tests/Support/Common.h"

namespace Kaltor::Tests {
namespace {

using Core::Property;
using Core::PropertyException;

TEST(Exceptions, CarryTheThrowingPlaceAndTheCallStack) {
    int const line = __LINE__ + 1;
    Caught const here = Catch<std::invalid_argument>([] { Core::Throw(std::invalid_argument("bad")); });
    EXPECT_EQ(here.what, "bad");
    EXPECT_EQ(here.line, line);
    EXPECT_THAT(here.function, AnyOf(HasSubstr("TestBody"), "operator()"));  // compilers name lambdas in two ways
    EXPECT_EQ(here.file, "Tests/Core/InterfacesTest.cpp");  // from the repository's root on every machine
    EXPECT_GT(here.stackDepth, 2U);
}

TEST(Exceptions, KeepTypeAndTagsOnTheWayToAnotherThread) {
    std::exception_ptr carried;
    std::thread([&carried] {
        try {
            Proc::ThrowFilterException("no such thing", {"void F()", "A/B", 3});
        } catch (...) {
            carried = std::current_exception();
        }
    }).join();
    Caught const caught = Catch<Proc::FilterException>([&carried] { std::rethrow_exception(carried); });
    EXPECT_EQ(caught.description, "no such thing");
    EXPECT_EQ(caught.function, "void F()");
    EXPECT_EQ(caught.file, "A/B");
    EXPECT_EQ(caught.line, 3);
    EXPECT_GT(caught.stackDepth, 0U);
    EXPECT_EQ(Core::Describe(carried), "no such thing");
    EXPECT_EQ(Core::Describe(std::make_exception_ptr(7)), "unknown error");
}

TEST(Properties, AreATreeThatTellsMethodNameAndTypeOfAnError) {
    Property root("Root");
    root.SetChild("inner", Property("Inner")).SetChild("name", Property::Of(std::string("n")));
    EXPECT_EQ(root.GetChild("inner").GetChild("name").Get<std::string>(), "n");
    EXPECT_FALSE(root.HasChild("name"));
    Property copy = root;
    copy.SetChild("inner", Property::Of(1.5));
    EXPECT_NE(copy, root);

    auto const tags = [](auto const& action) {
        std::vector<std::string> texts;
        try {
            action();
        } catch (PropertyException const& error) {
            for (std::string const* const tag : {boost::get_error_info<PropertyException::TagMethodName>(error),
                                                 boost::get_error_info<PropertyException::TagPropertyName>(error),
                                                 boost::get_error_info<PropertyException::TagPropertyType>(error)}) {
                texts.push_back(tag != nullptr ? *tag : "missing");
            }
            EXPECT_NE(boost::get_error_info<TagCallStack>(error), nullptr);
        }
        return texts;
    };
    EXPECT_THAT(tags([&] { static_cast<void>(root.GetChild("gone")); }), ElementsAre("GetChild", "gone", "object"));
    EXPECT_THAT(tags([&] { static_cast<void>(root.Get<double>()); }), ElementsAre("Get", "Root", "object"));
    EXPECT_THAT(tags([] { Property::Of(true).SetChild("x", Property()); }), ElementsAre("SetChild", "", "flag"));
    // No silent conversion between numbers.
    EXPECT_THROW(static_cast<void>(Property::Of(1.5).Get<std::int64_t>()), Core::MethodIsNotApplicable);
}

TEST(RefCounts, DeleteOnceUnderThreads) {
    struct Counted : RefCountImpl<IRefCount> {
        explicit Counted(int& counter) : deaths(counter) {}
        ~Counted() override { ++deaths; }
        int& deaths;
    };
    int deaths = 0;
    boost::intrusive_ptr<Counted> object(new Counted(deaths));
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

TEST(ParseNumber, TakesTheWholeTextOrNothing) {
    EXPECT_EQ(Core::ParseNumber<double>("-2.5e-1"), -0.25);
    EXPECT_EQ(Core::ParseNumber<double>("+.5"), 0.5);
    EXPECT_EQ(Core::ParseNumber<std::int32_t>("-2147483648"), std::numeric_limits<std::int32_t>::min());
    EXPECT_EQ(Core::ParseNumber<std::uint32_t>("4294967295"), std::numeric_limits<std::uint32_t>::max());
    for (char const* const text : {"", "+", "++1", "+-1", " 1", "1 ", "1x", "0x10", "1,5", "1.5.", "1e400"}) {
        EXPECT_EQ(Core::ParseNumber<double>(text), std::nullopt) << text;
    }
    for (char const* const text : {"-1", "1.0", "4294967296", "1e2"}) {
        EXPECT_EQ(Core::ParseNumber<std::uint32_t>(text), std::nullopt) << text;
    }
}

}  // namespace
}  // namespace Kaltor::Tests
