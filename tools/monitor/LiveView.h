#ifndef LIVEVIEW_H
#define LIVEVIEW_H

#include <functional>
#include <string>
#include <vector>

#include "ErrorStream.h"
#include "Keys.h"
#include "Layout.h"
#include "LiveModel.h"
#include "Output.h"
#include "Requests.h"
#include "Screen.h"
#include "Terminal.h"

namespace monitor {

/// The live view on the terminal of standard input and output, and the keys with which a person asks for
/// something. It draws in its turn alone, and never waits for the terminal: where that takes nothing, a view
/// is left out and the service goes on.
class LiveView final : public Output {
public:
    using Now = std::function<telemetry::Moment()>;

    /// Takes the terminal and standard error. Throws NoTerminal where there is none to draw on.
    LiveView(Requests& requests, Now now);
    ~LiveView() override;

    void take(const telemetry::Line& line) override;
    void turn() override;
    int input() const override { return waiting_; }
    State state() const override { return state_; }
    bool hidesStandardError() const override { return true; }
    void takeProblem(const std::string& problem) override;
    bool finish() override;

    /// Gives the terminal and standard error back. May be called from a signal's handler.
    static void giveBack();

private:
    void open();
    void fit();
    void takeKeys();
    void press(const Key& key);
    void pressInOdometer(const Key& key);
    void pressCharacter(char character);
    void pressRequest(char character);
    void setOdometer();
    void answer();
    std::string notNow() const;
    void scroll(Key::Kind kind);
    void showPage(Page page);
    void quit();
    void interrupt();
    void tellOfInterruption();
    void endAtOnce();
    void draw();
    void waitForRoom(bool isNeeded);

    Requests& requests_;
    Now now_;
    Terminal terminal_;
    Screen screen_;
    ErrorStream errors_;
    Keys keys_;
    LiveModel model_;
    ViewState view_;
    Size size_;
    State state_ = State::Going;
    bool isInterrupted_ = false; ///< by Ctrl-C
    bool isTold_ = false;        ///< main knows of it
    int status_ = 0;
    int waiting_ = -1; ///< an epoll of all that a turn is needed for
    bool waitsForRoom_ = false;
};

} // namespace monitor

#endif
