#!/usr/bin/env python3
"""The page of core-memory html, in headless Chromium: page_test.py CORE_MEMORY CHROMIUM [PICTURES]

Each case asks the page itself what it shows. With a folder PICTURES, pictures of the page are left there.
"""
import os
import subprocess
import sys
import tempfile
import unittest

sys.path.insert(0, os.path.dirname(__file__))
from browser import Browser

CORE_MEMORY, CHROMIUM = sys.argv[1], sys.argv[2]
PICTURES = sys.argv[3] if len(sys.argv) > 3 else None
IS_TIMED = PICTURES is not None  # times are compared on a quiet machine only

BANK = (
    "bank bank={index} name=\"{name}\" type={type} location=0 region={region} size={size} in-use={used} peak={peak} allocs=9 "
    "frees=1 used-nodes=2 free-nodes=1 fallbacks-made=0{more}\n"
)


def snapshot(lines, banks, time="2026-11-22T04:30:00Z"):
    return f'core-memory snapshot 1\ngame name="game" time="{time}"\n' + "".join(banks) + "".join(lines) + "end\n"


def bank(index, name, size, used, type=0, region=1, peak=None, more=""):
    return BANK.format(index=index, name=name, size=size, used=used, type=type, region=region, peak=peak or used, more=more)


HOSTILE = "</script><script>document.title='broken'</script>"

SMALL = snapshot(
    [
        'torn what="the lock of bank 0 is held by thread 7"\n',
        'damage bank=0 kind="magic" offset=384 what="the header is bad" before="game/map.cpp:7, 64 bytes at 320"\n',
        'used bank=0 offset=0 size=128 place="game/mesh.cpp:41"\n',
        'used bank=0 offset=320 size=64 place="game/map.cpp:7"\n',
        'used bank=0 offset=128 size=64 place="game/mesh.cpp:42" born=1500\n',
        f'used bank=0 offset=512 size=32 place="{HOSTILE}:1"\n',
        "free bank=0 offset=192 size=128\n",
        "free bank=0 offset=544 size=480\n",
        "damaged bank=0 offset=384 size=128\n",
        'fallback bank=0 number=1 size=544 place="game/sound.cpp:34"\n',
        'fallback bank=-1 number=1 size=64 place="game/log.cpp:3"\n',
    ],
    [
        bank(0, "core", 1024, 832, peak=1600),
        bank(1, "frame", 512, 64, type=1, more=" cursor=64"),
        bank(-1, "", 0, 64, region=0),
    ],
)


def large(count, step=1):
    """A bank of count blocks of 100 places; every tenth node is free."""
    used, free, offset, total = [], [], 0, 0
    for index in range(count):
        size = 32 + index * 37 % 8 * 32 * step
        if index % 10 == 9:
            free.append(f"free bank=0 offset={offset} size={size}\n")
        else:
            used.append(f'used bank=0 offset={offset} size={size} place="game/part{index * 7 % 13}.cpp:{index * 31 % 100}"\n')
            total += size
        offset += size
    return snapshot(used + free, [bank(0, "many", offset, total)], f"2026-11-22T04:30:0{step}Z")


class Page(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.folder = tempfile.TemporaryDirectory()
        cls.browser = Browser(CHROMIUM)

    @classmethod
    def tearDownClass(cls):
        cls.browser.__exit__()
        cls.folder.cleanup()

    def show(self, *texts, width=1400, dark=False):
        paths = []
        for number, text in enumerate(texts):
            paths.append(os.path.join(self.folder.name, f"{number}.snapshot"))
            with open(paths[-1], "w", encoding="utf-8") as file:
                file.write(text)
        page = os.path.join(self.folder.name, "report.html")
        subprocess.run([CORE_MEMORY, "html", *paths, "-o", page], check=True)
        self.browser.resize(width, 900, dark)
        self.browser.open("file://" + page)
        self.assertNotEqual(self.browser.ask("document.documentElement.dataset.ready"), None, self.browser.errors())

    def ask(self, expression):
        return self.browser.ask(expression)

    def point_at(self, canvas, x, y):
        """Moves the mouse over a canvas; x and y are shares of its width and height."""
        box = self.ask(
            f"(() => {{ const c = {canvas}; c.scrollIntoView({{block: 'center'}}); const b = c.getBoundingClientRect();"
            " return [b.left, b.top, b.width, b.height]; })()"
        )
        at = (box[0] + box[2] * x, box[1] + box[3] * y)
        self.browser.point(*at)
        return at

    def tip(self):
        return self.ask("document.getElementById('tip').hidden ? null : document.getElementById('tip').textContent")

    def picture(self, name):
        if PICTURES:
            self.browser.picture(os.path.join(PICTURES, name + ".png"), whole=True)

    def test_it_shows_the_numbers_of_the_snapshot(self):
        self.show(SMALL)
        self.assertEqual(self.ask("document.getElementById('title').textContent"), "game")
        self.assertIn("6 blocks", self.ask("document.getElementById('subtitle').textContent"))
        banks = self.ask("[...document.querySelectorAll('.bank')].map(b => b.textContent)")
        self.assertEqual(len(banks), 3)
        self.assertIn("in use 832 of 1,024 bytes", banks[0])
        self.assertIn("peak 1,600", banks[0])
        self.assertIn("fragmentation 21.1 %", banks[0])
        rows = self.ask("[...document.querySelectorAll('#places tbody tr')].map(r => [...r.cells].map(c => c.textContent).join('|'))")
        self.assertEqual(
            rows,
            [
                "game/sound.cpp:34|core|1|544|544|1",
                "game/mesh.cpp:41|core|1|128|128|0",
                "game/log.cpp:3|(system)|1|64|64|1",
                "game/map.cpp:7|core|1|64|64|0",
                "game/mesh.cpp:42|core|1|64|64|0",
                HOSTILE + ":1|core|1|32|32|0",
            ],
        )
        self.assertEqual(self.ask("coreMemory.areas().length"), 6)

    def test_damage_and_a_held_lock_are_shown_first(self):
        self.show(SMALL)
        alarms = self.ask("document.getElementById('alarms').innerText")
        self.assertIn("the lock of bank 0 is held by thread 7", alarms)
        self.assertIn("before: game/map.cpp:7, 64 bytes at 320", alarms)

    def test_a_source_name_is_never_read_as_markup(self):
        self.show(SMALL)
        self.assertEqual(self.ask("document.title"), "game: memory")
        self.assertEqual(self.ask("document.querySelectorAll('script').length"), 2)

    def test_it_asks_the_network_for_nothing(self):
        self.show(SMALL)
        self.assertEqual([url for url in self.browser.requests() if not url.startswith("file://")], [])
        self.assertEqual(self.browser.errors(), [])

    def test_pointing_at_a_block_shows_its_place_size_and_age(self):
        self.show(SMALL)
        map = "document.querySelector('[data-bank=core] canvas')"
        self.point_at(map, 0.2, 0.1)  # 1024 bytes in 5 rows: the first fifth of the first row
        self.assertEqual(self.tip(), "game/mesh.cpp:41\n128 bytes at offset 0\nage: block 1 of 4, 1 is the oldest")
        self.point_at(map, 0.8, 0.1)
        self.assertIn("since 1.5 s after the start", self.tip())
        self.point_at(map, 0.5, 0.9)
        self.assertEqual(self.tip(), "free\n480 bytes at offset 544")
        self.point_at(map, 0.1, 0.5)
        self.assertIn("damaged", self.tip())
        self.point_at("document.querySelector('[data-bank=frame] canvas')", 0.1, 0.1)
        self.assertEqual(self.tip(), "in use: 64 bytes of a linear bank")

    def test_the_keyboard_selects_zooms_and_picks(self):
        self.show(SMALL)
        self.ask("document.querySelector('[data-bank=core] canvas').focus()")
        self.browser.press("ArrowRight")
        self.assertIn("game/mesh.cpp:41", self.tip())
        self.browser.press("ArrowRight")
        self.assertIn("game/mesh.cpp:42", self.tip())
        self.browser.press("+")
        self.assertEqual(self.ask("coreMemory.views[0].span"), 512)
        self.browser.press("Enter")
        self.assertEqual(self.ask("document.querySelector('tr.picked td button').textContent"), "game/mesh.cpp:42")
        self.browser.press("Escape")
        self.assertEqual(self.ask("document.querySelectorAll('tr.picked').length"), 0)
        self.browser.press("0")
        self.assertEqual(self.ask("coreMemory.views[0].span"), 1024)
        self.ask("document.getElementById('tree').focus()")
        self.browser.press("ArrowRight")
        self.assertIn("game/sound.cpp:34", self.tip())

    def test_the_table_is_sorted_and_filtered(self):
        self.show(SMALL)
        first = "document.querySelector('#places tbody tr td button').textContent"
        head = "[...document.querySelectorAll('#places th button')]"
        self.ask(head + ".find(b => b.textContent.startsWith('place')).click()")
        self.assertEqual(self.ask(first), HOSTILE + ":1")
        self.ask(head + ".find(b => b.textContent.startsWith('place')).click()")
        self.assertEqual(self.ask(first), "game/sound.cpp:34")
        self.ask("document.getElementById('filter').focus()")
        for letter in "MESH":
            self.browser.press(letter)
        self.assertEqual(self.ask("document.getElementById('count').textContent"), "2 places, 192 bytes")

    def test_a_click_on_the_treemap_picks_a_place(self):
        self.show(SMALL)
        self.browser.click(*self.point_at("document.getElementById('tree')", 0.05, 0.05))
        self.assertEqual(self.ask("document.querySelector('tr.picked td button').textContent"), "game/sound.cpp:34")

    def test_several_snapshots_have_a_time_line_and_a_player(self):
        self.show(large(100), large(100, 2), SMALL)
        self.assertEqual(self.ask("document.getElementById('moment').max"), "2")
        self.assertEqual(self.ask("document.querySelectorAll('#legend li').length"), 4)
        self.assertEqual(self.ask("[...document.querySelectorAll('#places tbody tr')][0].cells[6].textContent"), "+544")
        self.ask("document.getElementById('before').click()")
        self.assertEqual(self.ask("document.querySelector('.bank').dataset.bank"), "many")
        self.ask("document.getElementById('play').click()")
        self.assertEqual(self.ask("document.getElementById('play').textContent"), "Pause")
        end = "new Promise(done => { const wait = () => coreMemory.state.playing ? setTimeout(wait, 20) : done(coreMemory.state.moment); wait(); })"
        self.assertEqual(self.ask(end), 2)
        self.picture("several")

    def test_light_and_dark_follow_the_system_and_the_button(self):
        self.show(SMALL, dark=True)
        back = "getComputedStyle(document.body).backgroundColor"
        self.assertEqual(self.ask(back), "rgb(22, 24, 26)")
        self.picture("dark")
        self.ask("document.getElementById('theme').click()")
        self.assertEqual(self.ask(back), "rgb(247, 247, 245)")
        self.picture("light")

    def test_nothing_is_cut_off_at_360_pixels(self):
        self.show(SMALL, large(50), SMALL, width=360)
        self.assertLessEqual(self.ask("document.documentElement.scrollWidth"), 360)
        outside = (
            "[...document.querySelectorAll('body *')].filter(e => e.checkVisibility() && (e.getBoundingClientRect().right > 360.5"
            " || e.getBoundingClientRect().left < -0.5 || e.scrollWidth > e.clientWidth + 1 && e.clientWidth > 0"
            " && e.tagName !== 'INPUT' && getComputedStyle(e).display !== 'inline')).map(e => e.outerHTML.slice(0, 99))"
        )
        self.assertEqual(self.ask(outside), [])
        self.picture("narrow")

    def test_a_hundred_thousand_blocks_open_and_stay_smooth(self):
        self.show(large(100000))
        self.assertEqual(self.ask("coreMemory.views[0].part.count"), 100000)
        opened = self.ask("performance.timing.loadEventEnd - performance.timing.navigationStart")
        zooms = "(() => { const v = coreMemory.views[0]; const s = performance.now(); for (let i = 0; i < 50; ++i)"
        zooms += " v.zoom(i < 25 ? 0.8 : 1.25, 1e6); return (performance.now() - s) / 50; })()"
        frame = self.ask(zooms)
        filtering = self.ask("(() => { const s = performance.now(); coreMemory.pick(3); return performance.now() - s; })()")
        print(f"100,000 blocks: opened in {opened} ms, a zoom step {frame:.1f} ms, a pick {filtering:.1f} ms", file=sys.stderr)
        self.picture("large")
        if IS_TIMED:
            self.assertLess(opened, 2000)
            self.assertLess(frame, 33)


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])
