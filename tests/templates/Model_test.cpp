// Templates that live through random lives: every operation on one, and on the plain reference beside it, and
// after each both are asked everything.

#include "core/Lparams.h"
#include "tests/templates/Compare.h"

#include <gtest/gtest.h>

#include <random>

namespace zutools::tests {
namespace {

constexpr std::u16string_view Names[] = {u"a", u"A",       u"Name", u"NAME", u"ИМЯ",
                                         u"ß", u"e\u0301", u"none", u""};
constexpr std::u16string_view Texts[] = {u"",
                                         u"x[[a]]y[[Name]]z[[A]]",
                                         u"[[Имя]][[!P]]p[[a]][[!Q]]q[[Name]][[/]][[/]]t[[\u00E9]]",
                                         u"[[!P]]1[[/]][[!p]]2[[ß]][[/]][[!Straße]]3[[a]][[/]]",
                                         u"a[[/]]b",
                                         u"[[name]] and a longer literal[[]]"};

class TLife {
public:
    explicit TLife(unsigned Seed)
        : FRandom(Seed) {}

    void Step() {
        TTemplate* Real = &FReal[0];
        TReference* Model = &FModel[0];
        if (Any(2) == 0) Real = &FReal[1], Model = &FModel[1];
        TTemplate& OtherRoot = FReal[Model == &FModel[0] ? 1 : 0];
        TReference& OtherModel = FModel[Model == &FModel[0] ? 1 : 0];
        TTemplate* const Root = Real;
        TReference* const RootModel = Model;
        while (!Model->Parts.empty() && Any(2) == 0) { // down to some part
            const std::size_t Index = Any(Model->Parts.size());
            ExpectSame("parts in a list", Model->Parts.size(), Real->LParts().size());
            Real = Real->GetPart(static_cast<int>(Index) + 1);
            Model = Model->Parts[Index].get();
        }
        const std::u16string Name(Names[Any(std::size(Names))]);
        const std::u16string Text(Texts[Any(std::size(Texts))]);
        const std::u16string Value(Any(4) == 0 ? Any(3000) : Any(40), static_cast<char16_t>(u'a' + Any(26)));
        std::u16string Error = Real->LastError();
        switch (Any(15)) {
        case 0:
            Real->SetBody(Text);
            *Model = TReference{.Ident = Model->Ident};
            Model->Compose(1, Text, {});
            Error = Model->LastError;
            break;
        case 1:
            Real->ComposeTemplate(1, Text, {});
            Model->Body.clear(), Model->Entries.clear(), Model->Places.clear(), Model->LastError.clear();
            Model->Compose(1, Text, {});
            Error = Model->LastError;
            break;
        case 2:
            Real->Clear(), Model->Clear();
            break;
        case 3:
            (void)Real->LTags();
            break;
        case 4: {
            Real->LTags().AddTag(Name).Position = static_cast<int>(Model->Body.size()) + 1;
            const std::size_t Entry = Model->AddEntry(Name);
            Model->Entries[Entry].Value.clear();
            Model->Places.push_back({Entry, Model->Body.size() + 1});
            break;
        }
        case 5:
            Real->ClearTagsList();
            Model->Entries.clear(), Model->Places.clear();
            break;
        case 6:
            Real->ClearParts(), Model->Parts.clear();
            break;
        case 7: // a part of another template, or of this one; or the template that this is a part of
            if (Any(2) == 0) {
                Real->Assign(&OtherRoot);
                *Model = OtherModel.Copy();
            } else {
                TReference Copy = RootModel->Copy();
                Real->Assign(Root);
                if (Real != Root) *Model = std::move(Copy);
            }
            break;
        case 8: {
            const TReference* const Part = Model->Part(Name);
            TTemplate* const Found = Real->GetPartByName(Name);
            Expect((Found != nullptr) == (Part != nullptr || Name.empty()), "part by name", Name, {});
            if (Found != nullptr && Part != nullptr)
                ExpectSame("body of the part", Part->Body, Found->Body());
            Error = Found == nullptr ? u"Error part name: " + Name + u" in template: ." : u"";
            break;
        }
        case 9: {
            const std::u16string* const Wanted = Model->Find(Name);
            ExpectSame("value", Wanted != nullptr ? *Wanted : u"", Real->GetTagValue(Name));
            Error = Name.empty()        ? u"Can't get value of empty tag."
                    : Wanted == nullptr ? u"Not found tag with name: " + Name + u" in template: ."
                                        : u"";
            break;
        }
        case 10: {
            TParamsList Params;
            Params.Add(Name, Value);
            Params.Add(u"NAME", u"1");
            Real->FillTemplatePL(Params);
            Model->Set(Name, Value);
            Model->Set(u"NAME", u"1");
            Error.clear();
            break;
        }
        case 11: // a handle sets tags of the text only, and nothing for the empty name
            if (const TTagHandle Tag = Real->FindTag(Name)) {
                Real->SetTagValue(Tag, Value);
                Model->Set(Name, Value);
            }
            break;
        case 12:
            Real->SetTagValue(Name, std::u16string(Value)); // given away
            Model->Set(Name, Value);
            Error = Name.empty() ? u"Can't get value of empty tag." : u"";
            break;
        default:
            Real->SetTagValue(Name, Value);
            Model->Set(Name, Value);
            Error = Name.empty() ? u"Can't get value of empty tag." : u"";
        }
        ExpectSame("error", Error, Real->LastError());
        CompareFlat(*Root, *RootModel);
        CompareFlat(*Real, *Model);
    }

private:
    std::size_t Any(std::size_t Limit) { return FRandom() % Limit; }

    std::mt19937 FRandom;
    TTemplate FReal[2];
    TReference FModel[2];
};

TEST(Model, TemplatesLiveAsTheReferenceDoes) {
    for (unsigned Seed = 1; Seed <= 150; ++Seed) {
        TLife Life(Seed);
        for (int Step = 0; Step < 120; ++Step) {
            try {
                Life.Step();
            } catch (const std::exception& Error) {
                FAIL() << "seed " << Seed << ", step " << Step << ": " << Error.what();
            }
        }
    }
}

} // namespace
} // namespace zutools::tests
