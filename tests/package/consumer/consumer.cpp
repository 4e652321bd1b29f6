// What a caller outside the tree does: starts the library, loads a template from a folder, fills it, catches
// an error.

#include "core/Lparams.h"
#include "host/ScriptObjects.h"
#include "package/Version.h"
#include "package/ZuTools.h"
#include "pipes/Namepipe.h"
#include "platform/Text.h"
#include "templates/Ltemplt.h"
#include "templates/Ztstmplcache.h"

#include <cstdio>
#include <fstream>
#include <string>

namespace {

int Failed = 0;

void Check(bool Holds, const char* What) {
    if (Holds) return;
    std::fprintf(stderr, "consumer: %s\n", What);
    ++Failed;
}

} // namespace

int main(int, char** Arguments) {
    const std::string Folder = Arguments[1];
    std::ofstream(Folder + "/page.html") << "<h1>[[Title]]</h1>[[ROWS]][[!ROW]]<p>[[Name]]</p>[[/ROW]]";

    zutools::StartZuTools();
    Check(zutools::ZuToolsVersion() == zutools::HeaderVersion, "the headers are of another version");
    zutools::ZTSTemplateCache->SetTemplateDirectory(zutools::platform::Utf8ToUtf16(Folder));
    zutools::ZTSTemplateCache->SetEnabled(true);
    {
        zutools::TTemplate Page;
        Page.SetTemplateName(u"page.html");
        zutools::TParamsList Params;
        Params.Add(u"title", u"List");
        Page.FillTemplatePL(Params);
        std::u16string Rows;
        for (const char16_t* Name : {u"a", u"b"}) {
            zutools::TTemplate& Row = *Page.GetPartByName(u"row");
            Row.SetTagValue(u"Name", Name);
            Row.AppendTemplate(Rows);
        }
        Page.SetTagValue(u"ROWS", Rows);
        Check(Page.BuildTemplate() == u"<h1>List</h1><p>a</p><p>b</p>", "a wrong page");

        zutools::TObject& Object = Page;
        Check(zutools::ObjectCast<zutools::TTemplate>(&Object) == &Page, "class information is not shared");
        Check(dynamic_cast<zutools::TTemplate*>(&Object) == &Page, "type information is not shared");
        bool Caught = false;
        try {
            (void)Page.GetTagName(99);
        } catch (const zutools::ETemplate& Error) {
            Caught = Error.Message() == u"Error tag index: 99.";
        }
        Check(Caught, "an exception did not cross the library's border");

        zutools::TNamedPipeClient Client;
        Client.PipeName = u"..";
        Caught = false;
        try {
            Client.Establish();
        } catch (const zutools::ENamedPipeClientException&) {
            Caught = true;
        }
        Check(Caught, "a pipe that cannot be was opened");
    }
    zutools::StopZuTools();
    return Failed;
}
