// A form and an application without a screen: they keep what they are told.

#pragma once

#include "persistence/Forms.h"

#include <string>
#include <vector>

namespace zutools::tests {

class TApplicationDouble : public TFormApplication {
public:
    std::u16string ExecutableName() const override { return Executable; }
    const TForm* MainForm() const override { return Main; }
    bool IsMinimized() const override { return Minimized; }
    void Minimize() override { ++Minimizes; }
    void SetBusyCursor(bool Busy) override { BusyDepth += Busy ? 1 : -1; }
    void ShowException(const std::exception& Error) override { Shown.emplace_back(Error.what()); }
    TPoint ScreenSize() const override { return Screen; }
    int PixelsPerInch() const override { return Density; }
    std::vector<TRect> WorkAreas() const override { return Areas; }
    int TitleHeight() const override { return 30; }

    std::u16string Executable;
    const TForm* Main = nullptr;
    bool Minimized = false;
    int Minimizes = 0, BusyDepth = 0, Density = 96;
    TPoint Screen{1920, 1080};
    std::vector<TRect> Areas{{0, 0, 1920, 1040}};
    std::vector<std::string> Shown;
};

class TFormDouble : public TForm {
public:
    TFormDouble() { SetName(u"Form1"); }
    ~TFormDouble() override {
        if (OnDestroy) OnDestroy(*this);
    }
    TWindowPlacement Placement() const override { return Window; }
    void SetPlacement(const TWindowPlacement& Value) override {
        Window = Value;
        ++Placements;
    }
    TRect Bounds() const override { return Window.NormalPosition; }
    bool Visible() const override { return IsVisible; }
    bool HasWindow() const override { return true; }
    TWindowState WindowState() const override { return State; }
    void SetWindowState(TWindowState Value) override { State = Value; }
    void NoteWindowState(TWindowState Value) override { Noted = Value; }
    TFormBorderStyle BorderStyle() const override { return Border; }
    TFormStyle FormStyle() const override { return Style; }
    TPosition Position() const override { return Place; }
    void SetPosition(TPosition Value) override {
        Place = Value;
        if (!IsDesigning) Window.NormalPosition = {}; // the move that must not happen
    }
    bool Designing() const override { return IsDesigning; }
    void SetDesigning(bool Value) override { IsDesigning = Value; }
    std::u16string ActiveControl() const override { return Focus; }
    void Update() override { ++Updates; }

    TWindowPlacement Window{0, swShowNormal, {-1, -1}, {-1, -1}, {100, 100, 500, 400}};
    bool IsVisible = true, IsDesigning = false;
    TWindowState State = TWindowState::wsNormal, Noted = TWindowState::wsMaximized;
    TFormBorderStyle Border = TFormBorderStyle::bsSizeable;
    TFormStyle Style = TFormStyle::fsNormal;
    TPosition Place = TPosition::poDesigned;
    std::u16string Focus;
    int Placements = 0, Updates = 0;
};

} // namespace zutools::tests
