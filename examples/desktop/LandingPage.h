// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string_view>

/// The demo's rich landing page. It requests /autumn/painted once it has been drawn.
inline constexpr std::string_view kLandingPage = R"html(<!doctype html>
<html lang="en">
<head>
<meta charset="utf-8">
<meta name="viewport" content="width=device-width, initial-scale=1">
<title>Autumn harvest — Fjord Coffee</title>
<style>
  :root { --ink: #24343d; --paper: #fbf7f1; --ember: #d9864a; --deep: #16333f; --soft: #8b7a66; }
  * { box-sizing: border-box; margin: 0; }
  body { font-family: Cantarell, "DejaVu Sans", sans-serif; color: var(--ink); background: var(--paper); line-height: 1.5; }
  header { position: relative; overflow: hidden; color: #fff; padding: 56px 8vw 92px;
           background: radial-gradient(120% 160% at 85% 0%, #f2b27f 0%, #c8703a 28%, #24586a 62%, #16333f 100%); }
  header svg { position: absolute; left: 0; right: 0; bottom: -1px; width: 100%; height: 84px; }
  .kicker { font-size: 12px; letter-spacing: 3px; font-weight: 700; text-transform: uppercase; color: #ffe3cb; }
  h1 { font-size: clamp(34px, 5.4vw, 56px); line-height: 1.08; font-weight: 800; max-width: 13em; margin: 12px 0 14px; }
  header p { max-width: 34em; font-size: 17px; color: rgba(255,255,255,.9); }
  .cta { display: inline-block; margin-top: 22px; padding: 12px 26px; border-radius: 999px; background: #fff; color: #8a4415;
         font-weight: 800; text-decoration: none; box-shadow: 0 10px 30px rgba(0,0,0,.22); }
  main { padding: 10px 8vw 44px; }
  .cards { display: grid; grid-template-columns: repeat(3, 1fr); gap: 18px; margin-top: -46px; position: relative; }
  .card { background: #fff; border-radius: 18px; padding: 18px; box-shadow: 0 14px 36px rgba(36,52,61,.12); }
  .cup { height: 104px; border-radius: 12px; display: grid; place-items: center; }
  .cup svg { width: 56px; }
  .card h2 { font-size: 18px; margin: 14px 0 2px; }
  .card p { font-size: 13.5px; color: var(--soft); }
  .price { margin-top: 10px; font-weight: 800; color: #b5602a; }
  footer { padding: 0 8vw 34px; font-size: 12.5px; color: var(--soft); }
</style>
</head>
<body>
<header>
  <div class="kicker">For members until Sunday</div>
  <h1>The autumn harvest is in the roastery.</h1>
  <p>Three small lots from the highlands of Huila, roasted this week by the water. First come, first poured.</p>
  <a class="cta" href="tickets://tasting/autumn">Join the tasting</a>
  <svg viewBox="0 0 1200 84" preserveAspectRatio="none"><path fill="#fbf7f1" d="M0 46 C 220 96 420 4 660 40 S 1040 92 1200 30 V 84 H 0 Z"/></svg>
</header>
<main>
  <div class="cards">
    <div class="card"><div class="cup" style="background:linear-gradient(135deg,#f7c89b,#d9864a)">
      <svg viewBox="0 0 48 48" fill="none" stroke="#fff" stroke-width="3"><path d="M8 18h26v12a10 10 0 0 1-10 10h-6a10 10 0 0 1-10-10zM34 21h3a5 5 0 0 1 0 11h-4M15 6v6M22 4v8M29 6v6"/></svg></div>
      <h2>Dawn</h2><p>Peach, honey, a long finish.</p><div class="price">€ 14.50</div></div>
    <div class="card"><div class="cup" style="background:linear-gradient(135deg,#a9d3cf,#2f7f86)">
      <svg viewBox="0 0 48 48" fill="none" stroke="#fff" stroke-width="3"><path d="M8 18h26v12a10 10 0 0 1-10 10h-6a10 10 0 0 1-10-10zM34 21h3a5 5 0 0 1 0 11h-4M15 6v6M22 4v8M29 6v6"/></svg></div>
      <h2>Noon</h2><p>Green apple, almond, light body.</p><div class="price">€ 13.00</div></div>
    <div class="card"><div class="cup" style="background:linear-gradient(135deg,#8d7bb5,#33294f)">
      <svg viewBox="0 0 48 48" fill="none" stroke="#fff" stroke-width="3"><path d="M8 18h26v12a10 10 0 0 1-10 10h-6a10 10 0 0 1-10-10zM34 21h3a5 5 0 0 1 0 11h-4M15 6v6M22 4v8M29 6v6"/></svg></div>
      <h2>Dusk</h2><p>Plum, cacao, for after dinner.</p><div class="price">€ 15.50</div></div>
  </div>
</main>
<footer>Fjord Coffee AS · roasted by the harbour since 1987</footer>
<script>
  addEventListener("load", () => requestAnimationFrame(() => setTimeout(() => fetch("/autumn/painted"), 150)));
</script>
</body>
</html>
)html";
