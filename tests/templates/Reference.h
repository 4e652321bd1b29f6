// The template format once more, character by character and as plainly as it can be written: what the quick
// parser and builder are compared with. Recursive, so for texts of modest depth only.

#pragma once

#include "host/StringHelpers.h"

#include <algorithm>
#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace zutools::tests {

struct TReference {
    struct TEntry {
        std::u16string Name, Value;
    };
    struct TPlace {
        std::size_t Entry;
        std::size_t Position; // 1-based
    };

    std::u16string Ident{}, Body{}, LastError{};
    std::vector<TEntry> Entries{}; // in the order in which they occur
    std::vector<TPlace> Places{};
    std::vector<std::unique_ptr<TReference>> Parts{};
    int CaretX = 0, CaretY = 0, BeginX = 0, BeginY = 0, EndX = 0, EndY = 0;

    // Positions are 1-based here, as the format is told.
    int Compose(int Current, const std::u16string& Text, const std::u16string& PartName) {
        const int Length = static_cast<int>(Text.size());
        const auto At = [&](int Index) {
            return Index <= Length ? Text[static_cast<std::size_t>(Index) - 1] : u'\0';
        };
        const auto Pair = [&](int Index, char16_t Mark) {
            return Index < Length && At(Index) == Mark && At(Index + 1) == Mark;
        };
        bool InTag = false;
        std::u16string Tag;
        int I = Current;
        while (I <= Length) {
            if (InTag && Pair(I, u']')) {
                InTag = false;
                I += 2;
                CaretX += 2;
                if (!Tag.empty() && Tag[0] == u'!') {
                    I = AddPart(I, Text, Tag.substr(1));
                } else if (!Tag.empty() && Tag[0] == u'/') {
                    return I;
                } else {
                    Places.push_back({AddEntry(Tag), Body.size() + 1});
                }
                continue;
            }
            if (!InTag && Pair(I, u'[')) {
                InTag = true;
                Tag.clear();
                CaretX += 2;
                I += 2;
                continue;
            }
            (InTag ? Tag : Body) += At(I);
            if (I >= Length - 1 || (At(I) == u'\n' && At(I + 1) == u'\r')) {
                CaretY += 1;
                CaretX = -1;
            }
            CaretX += 1;
            I += 1;
        }
        if (InTag) {
            LastError = u"Not found close tags (]]) in template: .";
        } else if (!PartName.empty()) {
            LastError = u"Not found close tags ([[/...]]) of part: \"" + PartName + u"\" in template: .";
        }
        return I;
    }

    int AddPart(int Current, const std::u16string& Text, const std::u16string& PartName) {
        TReference& Child = *Parts.emplace_back(std::make_unique<TReference>());
        BeginX = CaretX;
        BeginY = CaretY;
        Child.Ident = PartName;
        for (char16_t& Character : Child.Ident) Character = KX_UpChar(Character);
        const int Next = Child.Compose(Current, Text, PartName);
        EndX = CaretX;
        EndY = CaretY;
        return Next;
    }

    std::size_t AddEntry(const std::u16string& Name) {
        for (std::size_t Index = 0; Index < Entries.size(); ++Index) {
            if (AnsiCompareText(Entries[Index].Name, Name) == 0) return Index;
        }
        Entries.push_back({Name, {}});
        return Entries.size() - 1;
    }

    void Set(const std::u16string& Name, const std::u16string& Value) {
        for (TEntry& Entry : Entries) {
            if (!Name.empty() && AnsiCompareText(Entry.Name, Name) == 0) Entry.Value = Value;
        }
    }

    [[nodiscard]] const std::u16string* Find(const std::u16string& Name) const {
        for (const TEntry& Entry : Entries) {
            if (!Name.empty() && AnsiCompareText(Entry.Name, Name) == 0) return &Entry.Value;
        }
        return nullptr;
    }

    void Clear() {
        for (TEntry& Entry : Entries) Entry.Value.clear();
        for (const auto& Part : Parts) Part->Clear();
    }

    /// The first direct part of that name.
    [[nodiscard]] const TReference* Part(std::u16string Name) const {
        for (const auto& Part : Parts) {
            if (!Name.empty() && AnsiCompareText(Part->Ident, Name) == 0) return Part.get();
        }
        return nullptr;
    }

    /// Without the values. Entries that no place refers to stay behind.
    [[nodiscard]] TReference Copy() const {
        TReference Result{.Ident = Ident, .Body = Body};
        for (const TPlace& Place : Places) {
            Result.Places.push_back({Result.AddEntry(Entries[Place.Entry].Name), Place.Position});
        }
        for (const auto& Part : Parts) Result.Parts.push_back(std::make_unique<TReference>(Part->Copy()));
        return Result;
    }

    [[nodiscard]] std::u16string Build(bool WriteTagsBack) const {
        std::u16string Result;
        std::size_t Previous = 1;
        for (const TPlace& Place : Places) {
            const TEntry& Entry = Entries[Place.Entry];
            Result += Body.substr(Previous - 1, Place.Position - Previous);
            Result += WriteTagsBack && Entry.Value.empty() ? u"[[" + Entry.Name + u"]]" : Entry.Value;
            Previous = Place.Position;
        }
        return Result + Body.substr(Previous - 1);
    }

    [[nodiscard]] std::vector<std::u16string> SortedNames() const {
        std::vector<std::u16string> Names;
        for (const TEntry& Entry : Entries) Names.push_back(Entry.Name);
        std::sort(Names.begin(), Names.end(), [](const std::u16string& Left, const std::u16string& Right) {
            return AnsiCompareText(Left, Right) < 0;
        });
        return Names;
    }
};

} // namespace zutools::tests
