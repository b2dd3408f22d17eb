#!/usr/bin/python3
"""x_input.py DISPLAY TITLE KEY: presses KEY in the window with TITLE, as a keyboard does.
x_input.py DISPLAY TITLE --close: closes the window, as a window manager does. Fails without one."""
import sys

from Xlib import X, XK, display
from Xlib.ext import xtest
from Xlib.protocol import event


def windows_below(window):
    for child in window.query_tree().children:
        yield child
        yield from windows_below(child)


def press(screen, window, key):
    place = window.translate_coords(screen.screen().root, 0, 0)
    xtest.fake_input(screen, X.MotionNotify, x=10 - place.x, y=10 - place.y)
    window.set_input_focus(X.RevertToPointerRoot, X.CurrentTime)
    code = screen.keysym_to_keycode(XK.string_to_keysym(key))
    xtest.fake_input(screen, X.KeyPress, code)
    xtest.fake_input(screen, X.KeyRelease, code)


def close(screen, window):
    atoms = [screen.get_atom(name) for name in ('WM_PROTOCOLS', 'WM_DELETE_WINDOW')]
    data = (32, [atoms[1], X.CurrentTime, 0, 0, 0])
    window.send_event(event.ClientMessage(window=window, client_type=atoms[0], data=data))


if len(sys.argv) != 4:
    sys.exit(__doc__)
server = display.Display(sys.argv[1])
found = [each for each in windows_below(server.screen().root) if each.get_wm_name() == sys.argv[2]]
if len(found) != 1:
    sys.exit(f'{len(found)} windows are called {sys.argv[2]}')
if sys.argv[3] == '--close':
    close(server, found[0])
else:
    press(server, found[0], sys.argv[3])
server.sync()
