#include "platform/posix/HtmlTree.h"

#include "platform/HtmlValues.h"
#include "platform/TextTools.h"

#include <algorithm>
#include <array>
#include <chrono>
#include <csetjmp>
#include <cstdlib>
#include <cstring>
#include <utility>

namespace zutools::platform {

namespace {

using TClock = std::chrono::steady_clock;

constexpr std::string_view TooMuchMemory = "Cannot read the HTML document: its tree takes more than ";

} // namespace

// The memory of one tree, given back at once and without a walk through the tree, which may be deep. Gumbo
// asks for memory for every node, so here is where a parse that takes too much is ended: it is C and has no
// other way out.
class TArena {
public:
    explicit TArena(const THtmlLimits& Limits)
        : FLeft(Limits.Memory)
        , FDeadline(TClock::now() + std::chrono::milliseconds(Limits.Milliseconds)) {}
    ~TArena() {
        while (FBlocks != nullptr) {
            TBlock* const Block = FBlocks;
            FBlocks = Block->Next;
            std::free(Block);
        }
    }
    TArena(const TArena&) = delete;
    TArena& operator=(const TArena&) = delete;

    enum class TEnd : std::uint8_t { Whole, Memory, Time };

    /// Null when it was ended; Ended tells why.
    const GumboOutput* Parse(const std::string& Text) {
        GumboOptions Options = kGumboDefaultOptions;
        Options.allocator = [](void* Self, std::size_t Size) {
            return static_cast<TArena*>(Self)->Allocate(Size);
        };
        Options.deallocator = [](void* Self, void* Place) { static_cast<TArena*>(Self)->Free(Place); };
        Options.userdata = this;
        Options.max_errors = 0; // telling them costs more than the parse
        if (setjmp(FWayOut) != 0) return nullptr;
        return gumbo_parse_with_options(&Options, Text.data(), Text.size());
    }
    [[nodiscard]] TEnd Ended() const { return FEnd; }

private:
    struct alignas(std::max_align_t) TBlock {
        TBlock* Next;
    };
    static constexpr std::size_t BlockSize = 64 * 1024;

    // Nothing here has a destructor: Leave jumps out.
    void* Allocate(std::size_t Size) {
        constexpr unsigned LookEvery = 256;
        if (++FCalls % LookEvery == 0 && TClock::now() > FDeadline) Leave(TEnd::Time);
        Size = (Size + alignof(std::max_align_t) - 1) / alignof(std::max_align_t) * alignof(std::max_align_t);
        if (Size > static_cast<std::size_t>(FEndOfBlock - FNext)) AddBlock(std::max(BlockSize, Size));
        FLast = FNext;
        FNext += Size;
        return FLast;
    }
    // Most of what is freed is what was asked for last: the buffer of a token.
    void Free(void* Place) {
        if (Place != nullptr && Place == FLast) FNext = FLast;
    }
    void AddBlock(std::size_t Size) {
        if (Size > FLeft) Leave(TEnd::Memory);
        FLeft -= Size;
        auto* const Block = static_cast<TBlock*>(std::malloc(sizeof(TBlock) + Size));
        if (Block == nullptr) Leave(TEnd::Memory);
        Block->Next = FBlocks;
        FBlocks = Block;
        FNext = reinterpret_cast<char*>(Block + 1);
        FEndOfBlock = FNext + Size;
    }
    [[noreturn]] void Leave(TEnd End) {
        FEnd = End;
        std::longjmp(FWayOut, 1);
    }

    TBlock* FBlocks = nullptr;
    char* FNext = nullptr;
    char* FLast = nullptr;
    char* FEndOfBlock = nullptr;
    std::size_t FLeft;
    unsigned FCalls = 0;
    const TClock::time_point FDeadline;
    TEnd FEnd = TEnd::Whole;
    std::jmp_buf FWayOut;
};

namespace {

[[noreturn]] void Refuse(std::string_view What, std::int64_t Number, std::string_view Unit) {
    throw TAutomationFailure(Utf8ToUtf16(std::string(What) + std::to_string(Number) + std::string(Unit)));
}

const GumboVector& ChildrenOf(const GumboNode& Node) {
    return Node.type == GUMBO_NODE_DOCUMENT ? Node.v.document.children : Node.v.element.children;
}

// Every node below `Root` in the page's order, without what stands in templates; `See` also gets the depth.
template <class TSee>
void Walk(const GumboNode& Root, TSee See) {
    struct TPlace {
        const GumboVector* Children;
        unsigned Next;
    };
    std::vector<TPlace> Open{{&ChildrenOf(Root), 0}};
    while (!Open.empty()) {
        TPlace& Place = Open.back();
        if (Place.Next == Place.Children->length) {
            Open.pop_back();
            continue;
        }
        const auto& Node = *static_cast<const GumboNode*>(Place.Children->data[Place.Next++]);
        See(Node, static_cast<int>(Open.size()));
        if (Node.type == GUMBO_NODE_ELEMENT) Open.push_back({&Node.v.element.children, 0});
    }
}

// Elements whose text is text, whatever stands in it.
bool HasRawText(const GumboNode& Element) {
    constexpr std::array Tags = {GUMBO_TAG_SCRIPT, GUMBO_TAG_STYLE,    GUMBO_TAG_TEXTAREA, GUMBO_TAG_TITLE,
                                 GUMBO_TAG_XMP,    GUMBO_TAG_IFRAME,   GUMBO_TAG_NOEMBED,  GUMBO_TAG_NOFRAMES,
                                 GUMBO_TAG_SELECT, GUMBO_TAG_PLAINTEXT};
    return std::find(Tags.begin(), Tags.end(), TagOf(Element)) != Tags.end();
}

struct TSpan {
    std::size_t Begin, End;
};

// Where the tags that end a form stand; `Hidden` is text in which nothing is a tag, sorted.
std::vector<std::size_t> FormEnds(std::string_view Text, std::vector<TSpan> Hidden) {
    std::sort(Hidden.begin(), Hidden.end(), [](const TSpan& A, const TSpan& B) { return A.Begin < B.Begin; });
    std::vector<std::size_t> Ends;
    auto Next = Hidden.begin();
    std::size_t HiddenTo = 0;
    const std::size_t LastEnd = Text.rfind('>'); // a tag that does not end is none
    constexpr std::string_view Tag = "</form";
    for (std::size_t Place = Text.find("</"); Place != Text.npos; Place = Text.find("</", Place + 1)) {
        const char Behind = Place + Tag.size() < Text.size() ? Text[Place + Tag.size()] : 'x';
        if (!EqualAsciiNoCase(Text.substr(Place, Tag.size()), Tag)) continue;
        if (Behind != '>' && Behind != '/' && !IsHtmlBlank(static_cast<char16_t>(Behind))) continue;
        for (; Next != Hidden.end() && Next->Begin <= Place; ++Next) HiddenTo = std::max(HiddenTo, Next->End);
        if (Place >= HiddenTo && LastEnd != Text.npos && Place < LastEnd) Ends.push_back(Place);
    }
    return Ends;
}

} // namespace

THtmlTree::THtmlTree(std::string Utf8, const THtmlLimits& Limits)
    : FText(std::move(Utf8)) {
    constexpr std::size_t MostBytes = 1U << 31; // gumbo counts in 32 bits
    const std::size_t Most = std::min(Limits.Bytes, MostBytes);
    if (FText.size() > Most)
        Refuse("Cannot read the HTML document: it has more than ", static_cast<std::int64_t>(Most), " bytes");
    FArena = std::make_unique<TArena>(Limits);
    const GumboOutput* const Output = FArena->Parse(FText);
    if (FArena->Ended() == TArena::TEnd::Memory)
        Refuse(TooMuchMemory, static_cast<std::int64_t>(Limits.Memory), " bytes");
    if (Output == nullptr)
        Refuse("Cannot read the HTML document: parsing takes longer than ", Limits.Milliseconds, " ms");
    FDocument = Output->document;
    List(Limits.Depth);
    FindSpans();
}

THtmlTree::~THtmlTree() = default;

void THtmlTree::List(int MaxDepth) {
    Walk(*FDocument, [&](const GumboNode& Node, int Depth) {
        if (Node.type != GUMBO_NODE_ELEMENT && Node.type != GUMBO_NODE_TEMPLATE) return;
        if (Depth > MaxDepth)
            Refuse("Cannot read the HTML document: elements are nested more than ", MaxDepth, " deep");
        // What gumbo makes of <isindex>, which browsers no longer know.
        if ((static_cast<unsigned>(Node.parse_flags) & GUMBO_INSERTION_FROM_ISINDEX) != 0) return;
        FElements.push_back(&Node);
        if (TagOf(Node) == GUMBO_TAG_FORM) FForms.push_back(&Node);
    });
}

// The parser gives a control to the form whose start tag it saw last, until it sees an end tag of a form,
// even where the tree puts the control elsewhere: in tables, and behind misplaced end tags. Gumbo does the
// same for the tree but does not tell the owner, so it is found by the places in the text.
void THtmlTree::FindSpans() {
    if (FForms.empty()) return;
    std::vector<TSpan> Hidden;
    const auto Hide = [&](const GumboStringPiece& Piece) {
        if (Piece.length == 0) return;
        const auto Begin = static_cast<std::size_t>(Piece.data - FText.data());
        Hidden.push_back({Begin, Begin + Piece.length});
    };
    Walk(*FDocument, [&](const GumboNode& Node, int) {
        if (Node.type == GUMBO_NODE_COMMENT || Node.type == GUMBO_NODE_CDATA) Hide(Node.v.text.original_text);
        if (Node.type != GUMBO_NODE_ELEMENT && Node.type != GUMBO_NODE_TEMPLATE) return;
        const GumboElement& Element = Node.v.element;
        Hide(Element.original_tag);
        if (Node.type == GUMBO_NODE_TEMPLATE || HasRawText(Node)) {
            const std::size_t End = Element.end_pos.offset;
            Hidden.push_back({Element.start_pos.offset, End > Element.start_pos.offset ? End : FText.size()});
        }
    });
    const std::vector<std::size_t> Ends = FormEnds(FText, std::move(Hidden));
    for (const GumboNode* Form : FForms) {
        const std::size_t Begin = Form->v.element.start_pos.offset;
        const auto End = std::upper_bound(Ends.begin(), Ends.end(), Begin);
        FSpans.push_back({Begin, End != Ends.end() ? *End : FText.size(), Form});
    }
    std::sort(FSpans.begin(), FSpans.end(),
              [](const TFormSpan& A, const TFormSpan& B) { return A.Begin < B.Begin; });
}

void THtmlTree::FindNames() const {
    if (std::exchange(FHasNames, true)) return;
    for (const GumboNode* Element : FElements) {
        const char* const Id = AttributeOf(*Element, "id");
        const char* const Own = AttributeOf(*Element, "name");
        if (Id != nullptr && *Id != '\0') {
            FNamed[Id].push_back(Element);
            FById.try_emplace(Id, Element);
        }
        if (Own != nullptr && *Own != '\0' && (Id == nullptr || std::strcmp(Id, Own) != 0))
            FNamed[Own].push_back(Element);
    }
}

const THtmlTree::TNodes& THtmlTree::Named(std::string_view Name) const {
    FindNames();
    static const TNodes None;
    const auto Found = FNamed.find(Name);
    return Found == FNamed.end() ? None : Found->second;
}

const GumboNode* THtmlTree::WithId(std::string_view Id) const {
    FindNames();
    const auto Found = FById.find(Id);
    return Found == FById.end() ? nullptr : Found->second;
}

const GumboNode* THtmlTree::OwnerOf(const GumboNode& Control) const {
    if (const char* const Id = AttributeOf(Control, "form")) {
        const GumboNode* const Element = WithId(Id);
        return Element != nullptr && TagOf(*Element) == GUMBO_TAG_FORM ? Element : nullptr;
    }
    const std::size_t Place = Control.v.element.start_pos.offset;
    const auto Behind =
        std::upper_bound(FSpans.begin(), FSpans.end(), Place,
                         [](std::size_t At, const TFormSpan& Span) { return At < Span.Begin; });
    if (Behind != FSpans.begin() && Place < std::prev(Behind)->End) return std::prev(Behind)->Form;
    for (const GumboNode* Above = Control.parent; Above != nullptr; Above = Above->parent)
        if (TagOf(*Above) == GUMBO_TAG_FORM) return Above;
    return nullptr;
}

const GumboNode* THtmlTree::FindForm(const THtmlForm& Form) const {
    if (const int* const Index = std::get_if<int>(&Form)) {
        const auto Place = static_cast<std::size_t>(*Index);
        return *Index >= 0 && Place < FForms.size() ? FForms[Place] : nullptr;
    }
    const TNodes& Found = Named(Utf16ToUtf8(std::get<std::u16string>(Form)));
    const auto First = std::find_if(Found.begin(), Found.end(),
                                    [](const GumboNode* Each) { return TagOf(*Each) == GUMBO_TAG_FORM; });
    return First != Found.end() ? *First : nullptr;
}

const char* AttributeOf(const GumboNode& Element, std::string_view Name) {
    const GumboVector& Attributes = Element.v.element.attributes;
    for (unsigned I = 0; I < Attributes.length; ++I) {
        const auto& Each = *static_cast<const GumboAttribute*>(Attributes.data[I]);
        if (Name == Each.name) return Each.value;
    }
    return nullptr;
}

std::string TextOf(const GumboNode& Element) {
    std::string Text;
    Walk(Element, [&](const GumboNode& Node, int) {
        if (Node.type != GUMBO_NODE_TEXT && Node.type != GUMBO_NODE_WHITESPACE &&
            Node.type != GUMBO_NODE_CDATA)
            return;
        if (Node.parent != nullptr && Node.parent->type == GUMBO_NODE_ELEMENT &&
            Node.parent->v.element.tag == GUMBO_TAG_SCRIPT)
            return;
        Text += Node.v.text.text;
    });
    return Text;
}

THtmlTree::TNodes OptionsOf(const GumboNode& Select) {
    THtmlTree::TNodes Options;
    Walk(Select, [&](const GumboNode& Node, int) {
        if (TagOf(Node) == GUMBO_TAG_OPTION) Options.push_back(&Node);
    });
    return Options;
}

} // namespace zutools::platform
