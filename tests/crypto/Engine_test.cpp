#include "crypto/EngineTasks.h"
#include "examples/cryptengine/CryptCore2x.h"
#include "platform/Text.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <map>

namespace zutools::tests {

namespace {

using platform::Utf16ToUtf8;
using testing::AllOf;
using testing::AnyOf;
using testing::ElementsAre;
using testing::EndsWith;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::StartsWith;
using TKind = TEngineTask::TKind;

class TLibrary : public TCryptoEngine {
public:
    explicit TLibrary(std::string_view Name, const char* Fault = "") {
        SetLibName(platform::Utf8ToUtf16(Name));
        OnCall = [this](std::string_view Function) { ++Calls[std::string(Function)]; };
        if (*Fault != '\0') reinterpret_cast<sample::TSetFault*>(LoadProcedure("SampleEngineFault"))(Fault);
    }
    void HandleError(std::u16string_view Message) override {
        TCryptoEngine::HandleError(Message);
        Errors.push_back(Utf16ToUtf8(Message));
    }
    TEngineAnswer Ask(TKind Kind, std::u16string Type = u"TypeA", TCryptoParams Values = {}) {
        TEngineAnswer Answer = RunEngineTask(*this, {Kind, std::move(Type), std::move(Values)});
        EXPECT_EQ(Calls["InitCryptoEngine"] - Refused, Calls["DoneCryptoEngine"]); // whatever went wrong
        return Answer;
    }

    std::vector<std::string> Errors;
    std::map<std::string, int> Calls;
    int Refused = 0;
};

std::vector<std::string> LinesOf(const TEngineAnswer& Answer) {
    std::vector<std::string> Lines;
    for (const std::u16string& Type : Answer.Types) Lines.push_back(Utf16ToUtf8(Type));
    for (const auto& [Name, Value] : Answer.Params) Lines.push_back(Utf16ToUtf8(Name + u"=" + Value));
    return Lines;
}

TEST(CryptoEngine, LoadsByPathAndFromTheLibraryPath) {
    for (const char* const Name :
         {ENGINE, "CryptCore2x.dll", "/nowhere/CryptCore2x.dll", "C:\\x\\CryptCore2x.dll"}) {
        TLibrary Library(Name);
        EXPECT_TRUE(Library.LoadLib()) << Utf16ToUtf8(Library.LastError());
        const std::string Path = Utf16ToUtf8(Library.LibPath());
        EXPECT_THAT(Path, HasSubstr("CryptCore2x.")) << Name;
        Library.SetLibName(u"other"); // the loaded one stays
        EXPECT_TRUE(Library.LoadLib());
        Library.FreeLib();
        EXPECT_FALSE(Library.LoadLib());
    }
    EXPECT_EQ(TCryptoEngine().LibName(), u"CryptCore2x.dll");
}

TEST(CryptoEngine, SaysWhatCannotBeLoadedOrFound) {
    TLibrary Nowhere("/nowhere/none.dll");
    EXPECT_THAT(LinesOf(Nowhere.Ask(TKind::Types)), IsEmpty());
    const std::string Tried = Utf16ToUtf8(platform::ModuleNames(u"none.dll").back());
    ASSERT_EQ(Nowhere.Errors.size(), 1U);
    EXPECT_THAT(Nowhere.Errors[0], AllOf(StartsWith("Error loading DLL '" + Tried + "'. Error code "),
                                         HasSubstr(" with message '"), EndsWith("'.")));
    EXPECT_THAT(Nowhere.Errors[0], testing::Not(HasSubstr("code 0 ")));
    EXPECT_EQ(Nowhere.MissingFunctions().size(), 15U);

    TLibrary Partial(PARTIAL);
    EXPECT_THAT(LinesOf(Partial.Ask(TKind::Types)), ElementsAre("P"));
    EXPECT_EQ(Partial.MissingFunctions().size(), 12U);
    EXPECT_THAT(Partial.Errors, IsEmpty());
    Partial.Refused = 1; // DoneCryptoEngine is missing too
    EXPECT_THAT(LinesOf(Partial.Ask(TKind::Params, u"P")), IsEmpty());
    ASSERT_EQ(Partial.Errors.size(), 3U); // SetRootPath, GetCryptoParamNumber, DoneCryptoEngine
    EXPECT_THAT(Partial.Errors[1],
                StartsWith(std::string("Error searching function 'GetCryptoParamNumber' in dll '") + PARTIAL +
                           "'. Error code "));
}

TEST(KeptOnPurpose, ALibraryWithoutSignDataTellsThatAndThenSuccess) {
    TLibrary Partial(PARTIAL);
    Partial.Refused = 1;
    const TEngineAnswer Answer = Partial.Ask(TKind::Sign, u"P");
    EXPECT_THAT(Partial.Errors, testing::Contains(StartsWith("Error searching function 'SignData'")));
    ASSERT_TRUE(Answer.Signature);
    EXPECT_EQ(Answer.Signature->Code, 0);
    EXPECT_FALSE(Answer.Signature->LengthIsPossible());
}

TEST(KeptOnPurpose, AtMostAHundredTypesAreListed) {
    TLibrary Library(ENGINE);
    EXPECT_THAT(LinesOf(Library.Ask(TKind::Types)), ElementsAre("TypeA", "TypeB", "Тип В"));
    TLibrary Many(ENGINE, "types150");
    const TEngineAnswer Answer = Many.Ask(TKind::Types);
    ASSERT_EQ(Answer.Types.size(), 100U);
    EXPECT_EQ(Answer.Types[99], u"Type 100");
    TKXStringList List;
    Many.FillCryptoEngineTypeList(List);
    EXPECT_EQ(List.Tags(99), 99);
}

TEST(CryptoEngine, ListsParametersAndSetsThemByName) {
    TLibrary Library(ENGINE);
    const auto Lines = LinesOf(Library.Ask(TKind::Params));
    ASSERT_EQ(Lines.size(), 4U);
    EXPECT_EQ(Lines[0], "Владелец=Иванов Иван");
    // The directory of the library, without a separator at its end.
    const std::string Path = Utf16ToUtf8(Library.LibPath());
    EXPECT_EQ(Lines[3], "RootPath=" + Path.substr(0, Path.find_last_of("/\\")));
    const TOpenEngine Engine(Library, u"TypeA");
    EXPECT_EQ(Library.GetCryptoEngineParamIndex(Engine.Handle(), u"вЛАДЕЛЕЦ"), 1);
    EXPECT_EQ(Library.GetCryptoEngineParamIndex(Engine.Handle(), u"none"), -1);
    Library.SetCryptoEngineParamValue(Engine.Handle(), u"pin", u"0");
    Library.SetCryptoEngineParamValue(Engine.Handle(), u"none", u"1");
    EXPECT_EQ(Library.GetCryptoParamValue(Engine.Handle(), 3), u"0");
    EXPECT_EQ(Library.Calls["SetCryptoParamValue"], 1);
}

TEST(CryptoEngine, SignsForTrue) {
    TLibrary Library(ENGINE);
    const TEngineAnswer Answer = Library.Ask(TKind::Sign, u"TypeA", {{u"PIN", u"1234"}});
    EXPECT_THAT(Library.Errors, IsEmpty());
    ASSERT_TRUE(Answer.Signature);
    EXPECT_EQ(Answer.Signature->Length, 64);
    EXPECT_TRUE(Answer.Signature->LengthIsPossible());

    const TOpenEngine Engine(Library, u"TypeB");
    const std::u16string_view Data = u"Some";
    std::string Signature(64, '\0');
    int Length = 64;
    ASSERT_EQ(Library.SignData(Engine.Handle(), Data.data(), 4, Signature.data(), Length, u""), 0);
    const auto Verify = reinterpret_cast<sample::TVerify*>(Library.LoadProcedure("SampleEngineVerify"));
    EXPECT_EQ(Verify(Data.data(), 4, Signature.data()), 1);
    EXPECT_EQ(Verify(Data.data(), 8, Signature.data()), 0); // half of the text is signed
    Signature[10] = static_cast<char>(Signature[10] ^ 1);
    EXPECT_EQ(Verify(Data.data(), 4, Signature.data()), 0);
}

TEST(CryptoEngine, EveryFaultHasItsMessage) {
    struct TCase {
        const char* Fault;
        TKind Kind;
        const char* Error; // empty: none
        const char* First; // the first type or parameter; empty: none
    };
    const std::string Long(64, 'x');
    const std::string Params = "Error get crypto params list for \"TypeA\" : ";
    const std::string Check = "Error check CryptoEngine:";
    const std::string LongParam = Long + "=" + std::string(256, 'x');
    const std::string Overrun = Params + "GetCryptoParamName wrote past its buffer of 128 bytes";
    for (const auto& [Fault, Kind, Error, First] : std::vector<TCase>{
             {"throw@GetCryptoEngineTypes", TKind::Types,
              "Error on getmem size: 128 (thrown by GetCryptoEngineTypes)", ""},
             {"negative", TKind::Types, "Error on getmem size: -5 (-5 bytes are no size of a buffer)", ""},
             {"overrun", TKind::Types,
              "Error on getmem size: 128 (GetCryptoEngineTypes wrote past its buffer of 256 bytes)", ""},
             {"unterminated", TKind::Types, "", Long.c_str()},
             {"unterminated", TKind::Params, "", LongParam.c_str()},
             {"overrun", TKind::Params, Overrun.c_str(), ""},
             {"null@InitCryptoEngine", TKind::Params, "", ""},
             {"throw@GetCryptoParamValue", TKind::Params, "thrown by GetCryptoParamValue", ""},
             {"throw@SetRootPath", TKind::Params, "thrown by SetRootPath", ""},
             {"many", TKind::Params, "2147483647 parameters, and 10000 at most", ""},
             {"huge", TKind::Params, " bytes are no size of a buffer", ""},
             {"error", TKind::Sign, "Error on SignData ErrCode: 42; ErrStr: Ошибка по заказу", ""},
             {"null@InitCryptoEngine", TKind::Sign, "the engine type \"TypeA\" cannot be opened", ""},
             {"throw@SignData", TKind::Sign, "thrown by SignData", ""}}) {
        SCOPED_TRACE(Fault);
        TLibrary Library(ENGINE, Fault);
        Library.Refused = std::string_view(Fault).starts_with("null") ? 1 : 0;
        const auto Lines = LinesOf(Library.Ask(Kind));
        EXPECT_EQ(Lines.empty() ? "" : Lines[0], First);
        if (*Error == '\0') {
            EXPECT_THAT(Library.Errors, IsEmpty());
            continue;
        }
        ASSERT_EQ(Library.Errors.size(), 1U);
        EXPECT_THAT(Library.Errors[0], EndsWith(Error));
        const std::string Beginning = Kind == TKind::Params ? Params : Kind == TKind::Sign ? Check : "Error";
        EXPECT_THAT(Library.Errors[0], AnyOf(StartsWith(Beginning), StartsWith("Error on SignData ErrCode")));
    }
    // A length that cannot be is told as it is.
    TLibrary Liar(ENGINE, "liar");
    const TEngineAnswer Answer = Liar.Ask(TKind::Sign, u"TypeB");
    ASSERT_TRUE(Answer.Signature);
    EXPECT_EQ(Answer.Signature->Length, -1);
    EXPECT_FALSE(Answer.Signature->LengthIsPossible());
}

} // namespace

} // namespace zutools::tests
