#include "crypto/EngineTasks.h"

#include "host/Exception.h"
#include "host/Format.h"

#include <string_view>

namespace zutools {

namespace {

constexpr std::u16string_view TestData = u"Some";

void ReadParams(TCryptoEngine& Library, const std::u16string& Type, TEngineAnswer& Answer) {
    const TOpenEngine Engine(Library, Type);
    if (Engine.Handle() == nullptr) return;
    Answer.Opened = true;
    TKXStringList Lines;
    Library.FillCryptoParamsList(Engine.Handle(), Lines);
    for (int Index = 0; Index < Lines.Count(); ++Index)
        Answer.Params.push_back(SplitParam(Lines.Strings(Index)));
}

void ListTypes(TCryptoEngine& Library, TEngineAnswer& Answer) {
    TKXStringList Types;
    Library.FillCryptoEngineTypeList(Types);
    for (int Index = 0; Index < Types.Count(); ++Index) Answer.Types.push_back(Types.Strings(Index));
}

void SignTest(TCryptoEngine& Library, const TEngineTask& Task, TEngineAnswer& Answer) {
    const TOpenEngine Engine(Library, Task.Type);
    if (Engine.Handle() == nullptr)
        throw Exception(Format(u"the engine type \"%s\" cannot be opened", {Task.Type}));
    Answer.Opened = true;
    for (const auto& [Name, Value] : Task.Values)
        if (!Name.empty()) Library.SetCryptoEngineParamValue(Engine.Handle(), Name, Value);
    TEngineSignature Result;
    Result.Room = Library.GetMaxSignatureLength(Engine.Handle());
    Result.Length = Result.Room;
    TEngineBuffer Buffer(Result.Room);
    // Kept on purpose: the length counts characters where the engine counts bytes, so half of the data is
    // signed.
    constexpr int DataLength = static_cast<int>(TestData.size());
    const auto Begin = std::chrono::steady_clock::now();
    // Kept on purpose: a library without SignData gives 0, which counts as success.
    Result.Code = Library.SignData(Engine.Handle(), TestData.data(), DataLength, Buffer.Data(), Result.Length,
                                   u"For sign test");
    Result.Time =
        std::chrono::duration_cast<std::chrono::microseconds>(std::chrono::steady_clock::now() - Begin);
    Buffer.Check("SignData", Result.Room);
    if (Buffer.Blank()) Result.Length = 0;
    Answer.Signature = Result;
    if (Result.Code != 0)
        Library.HandleError(
            Format(u"Error on SignData ErrCode: %d; ErrStr: %s",
                   {Result.Code, Library.GetCryptoErrorString(Engine.Handle(), Result.Code)}));
}

template <class TWork>
void Guarded(TCryptoEngine& Library, const std::u16string& Beginning, TWork Work) {
    try {
        Work();
    } catch (const std::exception& Error) {
        Library.HandleError(Beginning + MessageOf(Error));
    } catch (...) { // an engine may throw anything
        Library.HandleError(Beginning + u"unknown exception");
    }
}

} // namespace

TEngineAnswer RunEngineTask(TCryptoEngine& Library, const TEngineTask& Task) {
    TEngineAnswer Answer;
    switch (Task.Kind) {
    case TEngineTask::TKind::Types:
        ListTypes(Library, Answer);
        break;
    case TEngineTask::TKind::Params:
        Guarded(Library, Format(u"Error get crypto params list for \"%s\" : ", {Task.Type}),
                [&] { ReadParams(Library, Task.Type, Answer); });
        break;
    case TEngineTask::TKind::Sign:
        Guarded(Library, u"Error check CryptoEngine:", [&] { SignTest(Library, Task, Answer); });
        break;
    }
    Answer.Loaded = Library.Loaded();
    return Answer;
}

} // namespace zutools
