// SPDX-License-Identifier: BSD-2-Clause
// What the page of the report looks like and how its players behave.
#pragma once

inline constexpr char pageStyle[] = R"(
:root { --ink: #1f2a35; --soft: #5b6875; --line: #dfe4e9; --accent: #0b6fb8; --paper: #f5f7f9; }
* { box-sizing: border-box; }
html { scroll-behavior: smooth; }
body { margin: 0; background: var(--paper); color: var(--ink);
       font: 16px/1.55 system-ui, "Segoe UI", "Noto Sans", "DejaVu Sans", sans-serif; }
main, header > div { max-width: 1160px; margin: 0 auto; padding: 0 24px; }
header { background: #17324a; color: #fff; padding: 36px 0 28px; }
header h1 { margin: 0 0 6px; font-size: 30px; font-weight: 650; letter-spacing: -0.01em; }
header p { margin: 0; color: #c9d6e2; max-width: 860px; }
header p.version { font-size: 14px; margin-top: 10px; color: #9fb3c6; }
nav { margin-top: 18px; }
nav a { display: inline-block; white-space: nowrap; color: #fff; text-decoration: none; margin: 0 8px 8px 0;
        padding: 3px 13px; border-radius: 99px;
        background: rgb(255 255 255 / 14%); }
nav a:hover { background: rgb(255 255 255 / 26%); }
section { background: #fff; border: 1px solid var(--line); border-radius: 10px;
          padding: 8px 28px 24px; margin: 28px 0; }
h2 { font-size: 24px; margin: 18px 0 8px; }
h3 { font-size: 17px; margin: 32px 0 6px; }
p { max-width: 860px; margin: 8px 0; }
p.note { color: var(--soft); font-size: 14px; }
table { border-collapse: collapse; font-variant-numeric: tabular-nums; margin: 14px 0; }
th, td { padding: 6px 14px; border-bottom: 1px solid var(--line); text-align: right; }
th { color: var(--soft); font-size: 14px; font-weight: 600; vertical-align: bottom; }
th:first-child, td:first-child { text-align: left; padding-left: 2px; }
td:first-child { font-weight: 600; }
.scroll { overflow-x: auto; }
table.players { width: 100%; }
table.players th, table.players td { padding: 5px 4px; text-align: left; }
table.players td:first-child { font-size: 13px; font-weight: 400; color: var(--soft);
                               overflow-wrap: break-word; min-width: 110px; line-height: 1.25; }
audio { width: 100%; min-width: 220px; height: 36px; display: block; }
audio::-webkit-media-controls-volume-control-container, audio::-webkit-media-controls-mute-button { display: none; }
h1, h2, h3, th { overflow-wrap: normal; hyphens: none; }
figure { margin: 22px 0 4px; }
figure img { display: block; width: 100%; height: auto; }
figcaption { color: var(--soft); font-size: 14px; }
figcaption strong { color: var(--ink); margin-right: 8px; }
)";

// One player at a time; another version of the same recording continues where the last one was.
inline constexpr char pageScript[] = R"(
let current = null;
document.addEventListener('play', event => {
    const player = event.target;
    if (current && current !== player) {
        const playing = !current.paused;
        current.pause();
        if (playing && current.dataset.recording === player.dataset.recording) player.currentTime = current.currentTime;
    }
    current = player;
}, true);
)";
