// A parsed document as automation objects: what scripts that read pages ask of the object model, read-only.

#include "platform/Html.h"

#include "platform/TextTools.h"
#include "platform/posix/HtmlTree.h"

#include <algorithm>
#include <memory>

namespace zutools::platform {

namespace {

using TArgs = std::span<const TAutomationValue>;
using TTreePtr = std::shared_ptr<const THtmlTree>;

TAutomationPtr ElementObject(const TTreePtr& Tree, const GumboNode* Node);
TAutomationPtr CollectionObject(const TTreePtr& Tree, THtmlTree::TNodes Nodes);

// What one kind of object offers; the id of a member is its place from 1 on.
template <class TObject>
struct TMember {
    std::u16string_view Name;
    bool IsFunction;
    bool (*Offered)(const TObject& Self); // null: always
    TAutomationOutcome (*Answer)(const TObject& Self, TArgs Args);
};

// Late calls over a table of members.
template <class TObject>
std::optional<std::int32_t> FindIn(std::span<const TMember<TObject>> Members, const TObject& Self,
                                   std::u16string_view Name) {
    for (std::size_t I = 0; I < Members.size(); ++I) {
        const TMember<TObject>& Each = Members[I];
        if (EqualAsciiNoCase(Each.Name, Name) && (Each.Offered == nullptr || Each.Offered(Self)))
            return static_cast<std::int32_t>(I + 1);
    }
    return std::nullopt;
}

template <class TObject>
TAutomationOutcome InvokeIn(std::span<const TMember<TObject>> Members, const TObject& Self, std::int32_t Id,
                            TInvokeKind Kind, TArgs Args) {
    const auto Place = static_cast<std::size_t>(Id) - 1;
    if (Id < 1 || Place >= Members.size()) return AutomationRefusal(AutomationCode::MemberNotFound);
    const TMember<TObject>& Member = Members[Place];
    const auto Wanted = Member.IsFunction ? TInvokeKind::Method : TInvokeKind::PropertyGet;
    if ((static_cast<unsigned>(Kind) & static_cast<unsigned>(Wanted)) == 0)
        return AutomationRefusal(AutomationCode::MemberNotFound);
    if (!Member.IsFunction && !Args.empty()) return AutomationRefusal(AutomationCode::BadArgumentCount);
    return Member.Answer(Self, Args);
}

template <class TObject>
TAutomationType TypeOf(std::u16string_view Name, std::span<const TMember<TObject>> Members,
                       const TObject& Self) {
    TAutomationType Type{std::u16string(Name), {}, {}};
    for (std::size_t I = 0; I < Members.size(); ++I) {
        const TMember<TObject>& Each = Members[I];
        if (Each.Offered != nullptr && !Each.Offered(Self)) continue;
        auto& List = Each.IsFunction ? Type.Functions : Type.Variables;
        List.push_back({std::u16string(Each.Name), static_cast<std::int32_t>(I + 1)});
    }
    return Type;
}

TAutomationOutcome Answer(TAutomationValue Value) {
    return {AutomationCode::Done, {}, std::move(Value)};
}

// ---- elements

class TElement;
extern const std::span<const TMember<TElement>> ElementMembers;

class TElement final : public TAutomationObject {
public:
    TElement(TTreePtr ATree, const GumboNode& ANode)
        : Tree(std::move(ATree))
        , Node(ANode) {}

    // Behind the members of the table come the attributes that the page wrote.
    static constexpr std::int32_t FirstAttribute = 1000;

    [[nodiscard]] std::optional<std::int32_t> FindMember(std::u16string_view Name) override {
        if (const auto Id = FindIn(ElementMembers, *this, Name)) return Id;
        const std::string Wanted = LowerAsciiText(Utf16ToUtf8(Name));
        const GumboVector& Attributes = Node.v.element.attributes;
        for (unsigned I = 0; I < Attributes.length; ++I) {
            if (Wanted == static_cast<const GumboAttribute*>(Attributes.data[I])->name)
                return FirstAttribute + static_cast<std::int32_t>(I);
        }
        return std::nullopt;
    }
    [[nodiscard]] TAutomationOutcome Invoke(std::int32_t Member, TInvokeKind Kind, TArgs Args,
                                            bool) override {
        const GumboVector& Attributes = Node.v.element.attributes;
        if (Member < FirstAttribute) return InvokeIn(ElementMembers, *this, Member, Kind, Args);
        const auto Place = static_cast<unsigned>(Member - FirstAttribute);
        if (Place >= Attributes.length || Kind == TInvokeKind::Method || Kind == TInvokeKind::PropertyPut)
            return AutomationRefusal(AutomationCode::MemberNotFound);
        if (!Args.empty()) return AutomationRefusal(AutomationCode::BadArgumentCount);
        return Answer(Utf8ToUtf16(static_cast<const GumboAttribute*>(Attributes.data[Place])->value));
    }
    [[nodiscard]] std::optional<TAutomationType> DescribeType() override {
        return TypeOf(u"HTMLElement", ElementMembers, *this);
    }

    [[nodiscard]] bool Is(GumboTag Tag) const { return TagOf(Node) == Tag; }
    [[nodiscard]] TAutomationValue Text(const char* Attribute) const {
        const char* const Value = AttributeOf(Node, Attribute);
        return Value != nullptr ? Utf8ToUtf16(Value) : std::u16string();
    }
    [[nodiscard]] TAutomationValue Object(const GumboNode* Other) const { return ElementObject(Tree, Other); }

    const TTreePtr Tree;
    const GumboNode& Node; // of the tree
};

std::u16string TagName(const GumboNode& Node) {
    const GumboElement& Element = Node.v.element;
    if (Element.tag != GUMBO_TAG_UNKNOWN)
        return Utf8ToUtf16(LowerAsciiText(std::string(gumbo_normalized_tagname(Element.tag))));
    GumboStringPiece Name = Element.original_tag;
    gumbo_tag_from_original_text(&Name);
    return Utf8ToUtf16(LowerAsciiText(std::string(Name.data, Name.length)));
}

std::u16string TypeName(const TElement& Self) {
    if (Self.Is(GUMBO_TAG_INPUT)) return InputTypeOf(Self.Node);
    if (Self.Is(GUMBO_TAG_TEXTAREA)) return u"textarea";
    if (Self.Is(GUMBO_TAG_SELECT))
        return HasAttribute(Self.Node, "multiple") ? u"select-multiple" : u"select-one";
    const char* const Type = AttributeOf(Self.Node, "type");
    if (Type != nullptr && (EqualAsciiNoCase(Type, "reset") || EqualAsciiNoCase(Type, "button")))
        return Utf8ToUtf16(LowerAsciiText(std::string(Type)));
    return u"submit";
}

std::int32_t SelectedIndex(const TElement& Self) {
    const std::vector<THtmlOption> States = OptionStates(Self.Node);
    const auto First =
        std::find_if(States.begin(), States.end(), [](const THtmlOption& Each) { return Each.Selected; });
    return First != States.end() ? static_cast<std::int32_t>(First - States.begin()) : -1;
}

bool IsSelected(const TElement& Self) {
    const GumboNode* Select = Self.Node.parent;
    while (Select != nullptr && TagOf(*Select) != GUMBO_TAG_SELECT) Select = Select->parent;
    if (Select == nullptr) return HasAttribute(Self.Node, "selected");
    const THtmlTree::TNodes Options = OptionsOf(*Select);
    const auto Place = std::find(Options.begin(), Options.end(), &Self.Node) - Options.begin();
    return OptionStates(*Select)[static_cast<std::size_t>(Place)].Selected;
}

bool IsListed(const TElement& Self) {
    return Self.Is(GUMBO_TAG_INPUT) || Self.Is(GUMBO_TAG_SELECT) || Self.Is(GUMBO_TAG_TEXTAREA) ||
           Self.Is(GUMBO_TAG_BUTTON) || Self.Is(GUMBO_TAG_FIELDSET) || Self.Is(GUMBO_TAG_OUTPUT) ||
           Self.Is(GUMBO_TAG_OBJECT);
}

// The controls of a form as its `elements` has them: image buttons are left out.
THtmlTree::TNodes FormElements(const TElement& Self) {
    THtmlTree::TNodes Found;
    for (const GumboNode* Node : Self.Tree->Elements()) {
        const TElement Each(Self.Tree, *Node);
        if (IsListed(Each) && Self.Tree->OwnerOf(*Node) == &Self.Node &&
            !(Each.Is(GUMBO_TAG_INPUT) && InputTypeOf(*Node) == u"image"))
            Found.push_back(Node);
    }
    return Found;
}

THtmlTree::TNodes ChildElements(const GumboNode& Node) {
    THtmlTree::TNodes Found;
    const GumboVector& Children = Node.v.element.children;
    for (unsigned I = 0; I < Children.length; ++I) {
        const auto* const Child = static_cast<const GumboNode*>(Children.data[I]);
        if (Child->type == GUMBO_NODE_ELEMENT) Found.push_back(Child);
    }
    return Found;
}

const GumboNode* ParentElement(const GumboNode& Node) {
    return Node.parent != nullptr && Node.parent->type == GUMBO_NODE_ELEMENT ? Node.parent : nullptr;
}

bool IsInput(const TElement& Self) {
    return Self.Is(GUMBO_TAG_INPUT);
}
bool IsSelect(const TElement& Self) {
    return Self.Is(GUMBO_TAG_SELECT);
}
bool IsOption(const TElement& Self) {
    return Self.Is(GUMBO_TAG_OPTION);
}
bool IsForm(const TElement& Self) {
    return Self.Is(GUMBO_TAG_FORM);
}
bool HasValue(const TElement& Self) {
    return IsInput(Self) || IsSelect(Self) || IsOption(Self) || Self.Is(GUMBO_TAG_TEXTAREA) ||
           Self.Is(GUMBO_TAG_BUTTON);
}
bool HasType(const TElement& Self) {
    return HasValue(Self) && !IsOption(Self);
}
bool HasOwner(const TElement& Self) {
    return IsListed(Self);
}

constexpr TMember<TElement> ElementTable[] = {
    {u"tagName", false, nullptr,
     [](const TElement& Self, TArgs) {
         std::u16string Name = TagName(Self.Node);
         // As browsers tell them: a <fieldset> inside <svg> is no field set, and its name stays small.
         if (Self.Node.v.element.tag_namespace == GUMBO_NAMESPACE_HTML)
             for (char16_t& C : Name) C = UpperAscii(C);
         return Answer(std::move(Name));
     }},
    {u"id", false, nullptr, [](const TElement& Self, TArgs) { return Answer(Self.Text("id")); }},
    {u"className", false, nullptr, [](const TElement& Self, TArgs) { return Answer(Self.Text("class")); }},
    {u"title", false, nullptr, [](const TElement& Self, TArgs) { return Answer(Self.Text("title")); }},
    {u"name", false, HasType, [](const TElement& Self, TArgs) { return Answer(Self.Text("name")); }},
    {u"disabled", false, nullptr,
     [](const TElement& Self, TArgs) { return Answer(HasAttribute(Self.Node, "disabled")); }},
    {u"readOnly", false, nullptr,
     [](const TElement& Self, TArgs) { return Answer(HasAttribute(Self.Node, "readonly")); }},
    {u"type", false, HasType, [](const TElement& Self, TArgs) { return Answer(TypeName(Self)); }},
    {u"value", false, HasValue, [](const TElement& Self, TArgs) { return Answer(ValueOf(Self.Node)); }},
    {u"checked", false, IsInput,
     [](const TElement& Self, TArgs) { return Answer(IsChecked(*Self.Tree, Self.Node)); }},
    {u"multiple", false, IsSelect,
     [](const TElement& Self, TArgs) { return Answer(HasAttribute(Self.Node, "multiple")); }},
    {u"selectedIndex", false, IsSelect,
     [](const TElement& Self, TArgs) { return Answer(SelectedIndex(Self)); }},
    {u"options", false, IsSelect,
     [](const TElement& Self, TArgs) { return Answer(CollectionObject(Self.Tree, OptionsOf(Self.Node))); }},
    {u"selected", false, IsOption, [](const TElement& Self, TArgs) { return Answer(IsSelected(Self)); }},
    {u"text", false, IsOption, [](const TElement& Self, TArgs) { return Answer(OptionText(Self.Node)); }},
    {u"elements", false, IsForm,
     [](const TElement& Self, TArgs) { return Answer(CollectionObject(Self.Tree, FormElements(Self))); }},
    {u"form", false, HasOwner,
     [](const TElement& Self, TArgs) { return Answer(Self.Object(Self.Tree->OwnerOf(Self.Node))); }},
    {u"innerText", false, nullptr,
     [](const TElement& Self, TArgs) { return Answer(Utf8ToUtf16(TextOf(Self.Node))); }},
    {u"parentElement", false, nullptr,
     [](const TElement& Self, TArgs) { return Answer(Self.Object(ParentElement(Self.Node))); }},
    {u"children", false, nullptr,
     [](const TElement& Self, TArgs) {
         return Answer(CollectionObject(Self.Tree, ChildElements(Self.Node)));
     }},
    {u"contains", true, nullptr,
     [](const TElement& Self, TArgs Args) {
         if (Args.size() != 1) return AutomationRefusal(AutomationCode::BadArgumentCount);
         const auto* const Other = dynamic_cast<const TElement*>(Args[0].Object().get());
         const GumboNode* Node = Other != nullptr ? &Other->Node : nullptr;
         while (Node != nullptr && Node != &Self.Node) Node = Node->parent;
         return Answer(Node != nullptr);
     }},
    {u"getAttribute", true, nullptr,
     [](const TElement& Self, TArgs Args) {
         if (Args.size() != 1) return AutomationRefusal(AutomationCode::BadArgumentCount);
         const auto* const Name = Args[0].As<std::u16string>();
         if (Name == nullptr) return AutomationRefusal(AutomationCode::TypeMismatch);
         const char* const Value = AttributeOf(Self.Node, LowerAsciiText(Utf16ToUtf8(*Name)));
         return Value != nullptr ? Answer(Utf8ToUtf16(Value)) : Answer(TAutomationNull());
     }},
};
constexpr std::span<const TMember<TElement>> ElementMembers = ElementTable;

TAutomationPtr ElementObject(const TTreePtr& Tree, const GumboNode* Node) {
    return Node != nullptr ? std::make_shared<TElement>(Tree, *Node) : nullptr;
}

// ---- collections

class TCollection final : public TAutomationObject {
public:
    TCollection(TTreePtr ATree, THtmlTree::TNodes ANodes)
        : Tree(std::move(ATree))
        , Nodes(std::move(ANodes)) {}

    [[nodiscard]] std::optional<std::int32_t> FindMember(std::u16string_view Name) override;
    [[nodiscard]] TAutomationOutcome Invoke(std::int32_t Member, TInvokeKind Kind, TArgs Args, bool) override;
    [[nodiscard]] std::optional<TAutomationType> DescribeType() override;

    // Those of `Tree.Named` that are in this collection.
    [[nodiscard]] THtmlTree::TNodes Named(std::u16string_view Name) const {
        const THtmlTree::TNodes& All = Tree->Named(Utf16ToUtf8(Name));
        if (Nodes.size() == Tree->Elements().size()) return All;
        THtmlTree::TNodes Found;
        std::copy_if(All.begin(), All.end(), std::back_inserter(Found), [this](const GumboNode* Each) {
            return std::find(Nodes.begin(), Nodes.end(), Each) != Nodes.end();
        });
        return Found;
    }

    const TTreePtr Tree;
    const THtmlTree::TNodes Nodes;
};

const GumboNode* At(const THtmlTree::TNodes& Nodes, std::int64_t Place) {
    return Place >= 0 && Place < static_cast<std::int64_t>(Nodes.size())
               ? Nodes[static_cast<std::size_t>(Place)]
               : nullptr;
}

// item(place), item(name), item(name, place among those of that name)
TAutomationOutcome Item(const TCollection& Self, TArgs Args) {
    if (Args.empty() || Args.size() > 2) return AutomationRefusal(AutomationCode::BadArgumentCount);
    const TAutomationValue& Key = Args.back(); // the last argument stands first
    const auto* const Place = Args.front().As<std::int32_t>();
    if (const auto* const Name = Key.As<std::u16string>()) {
        const THtmlTree::TNodes Found = Self.Named(*Name);
        if (Args.size() == 2) {
            if (Place == nullptr) return AutomationRefusal(AutomationCode::TypeMismatch);
            return Answer(ElementObject(Self.Tree, At(Found, *Place)));
        }
        if (Found.size() > 1) return Answer(CollectionObject(Self.Tree, Found));
        return Answer(ElementObject(Self.Tree, At(Found, 0)));
    }
    const auto* const Index = Key.As<std::int32_t>();
    if (Index == nullptr) return AutomationRefusal(AutomationCode::TypeMismatch);
    return Answer(ElementObject(Self.Tree, At(Self.Nodes, *Index)));
}

constexpr TMember<TCollection> CollectionTable[] = {
    {u"item", true, nullptr, Item},
    {u"length", false, nullptr,
     [](const TCollection& Self, TArgs) { return Answer(static_cast<std::int32_t>(Self.Nodes.size())); }},
};
constexpr std::span<const TMember<TCollection>> CollectionMembers = CollectionTable;

std::optional<std::int32_t> TCollection::FindMember(std::u16string_view Name) {
    return FindIn(CollectionMembers, *this, Name);
}
TAutomationOutcome TCollection::Invoke(std::int32_t Member, TInvokeKind Kind, TArgs Args, bool) {
    return InvokeIn(CollectionMembers, *this, Member, Kind, Args);
}
std::optional<TAutomationType> TCollection::DescribeType() {
    return TypeOf(u"HTMLElementCollection", CollectionMembers, *this);
}

TAutomationPtr CollectionObject(const TTreePtr& Tree, THtmlTree::TNodes Nodes) {
    return std::make_shared<TCollection>(Tree, std::move(Nodes));
}

// ---- the document

class TDocument final : public THtmlDocument {
public:
    explicit TDocument(TTreePtr ATree)
        : Tree(std::move(ATree)) {}
    [[nodiscard]] std::optional<std::int32_t> FindMember(std::u16string_view Name) override;
    [[nodiscard]] TAutomationOutcome Invoke(std::int32_t Member, TInvokeKind Kind, TArgs Args, bool) override;
    [[nodiscard]] std::optional<TAutomationType> DescribeType() override;
    [[nodiscard]] std::optional<std::vector<THtmlControl>> Controls(const THtmlForm& Form) override {
        const GumboNode* const Node = Tree->FindForm(Form);
        return Node != nullptr ? std::optional(ControlsOf(*Tree, *Node)) : std::nullopt;
    }

    [[nodiscard]] const GumboNode* First(GumboTag Tag) const {
        const auto& All = Tree->Elements();
        const auto Found = std::find_if(All.begin(), All.end(),
                                        [Tag](const GumboNode* Each) { return TagOf(*Each) == Tag; });
        return Found != All.end() ? *Found : nullptr;
    }
    const TTreePtr Tree;
};

constexpr TMember<TDocument> DocumentTable[] = {
    {u"all", false, nullptr,
     [](const TDocument& Self, TArgs) { return Answer(CollectionObject(Self.Tree, Self.Tree->Elements())); }},
    {u"forms", false, nullptr,
     [](const TDocument& Self, TArgs) { return Answer(CollectionObject(Self.Tree, Self.Tree->Forms())); }},
    {u"body", false, nullptr,
     [](const TDocument& Self, TArgs) {
         return Answer(ElementObject(Self.Tree, Self.First(GUMBO_TAG_BODY)));
     }},
    {u"documentElement", false, nullptr,
     [](const TDocument& Self, TArgs) {
         return Answer(ElementObject(Self.Tree, Self.First(GUMBO_TAG_HTML)));
     }},
    {u"title", false, nullptr,
     [](const TDocument& Self, TArgs) {
         const GumboNode* const Title = Self.First(GUMBO_TAG_TITLE);
         return Answer(Title != nullptr ? OptionText(*Title) : std::u16string());
     }},
    {u"getElementById", true, nullptr,
     [](const TDocument& Self, TArgs Args) {
         if (Args.size() != 1) return AutomationRefusal(AutomationCode::BadArgumentCount);
         const auto* const Id = Args[0].As<std::u16string>();
         if (Id == nullptr) return AutomationRefusal(AutomationCode::TypeMismatch);
         return Answer(ElementObject(Self.Tree, Self.Tree->WithId(Utf16ToUtf8(*Id))));
     }},
};
constexpr std::span<const TMember<TDocument>> DocumentMembers = DocumentTable;

std::optional<std::int32_t> TDocument::FindMember(std::u16string_view Name) {
    return FindIn(DocumentMembers, *this, Name);
}
TAutomationOutcome TDocument::Invoke(std::int32_t Member, TInvokeKind Kind, TArgs Args, bool) {
    return InvokeIn(DocumentMembers, *this, Member, Kind, Args);
}
std::optional<TAutomationType> TDocument::DescribeType() {
    return TypeOf(u"HTMLDocument", DocumentMembers, *this);
}

} // namespace

TAutomationPtr ParseHtml(std::u16string_view Text, const THtmlLimits& Limits) {
    return std::make_shared<TDocument>(std::make_shared<const THtmlTree>(Utf16ToUtf8(Text), Limits));
}

} // namespace zutools::platform
