// The window's own style. It lives in a shadow tree, so that it neither takes nor leaves a trace in
// the page around it. Even what a page says of every element, which reaches the host, ends at the
// root inside. Colours keep a contrast of 4.5 to 1 and more in both schemes.

export const style = `
.root {
  all: initial;
  --accent: #1d4ed8;
  --on-accent: #ffffff;
  --ground: #ffffff;
  --text: #1f2937;
  --soft: #4b5563;
  --line: #d1d5db;
  --theirs: #f1f5f9;
  --bad: #b91c1c;
  color-scheme: light dark;
  font: 16px/1.45 system-ui, -apple-system, "Segoe UI", "Noto Sans", "Noto Sans CJK SC", sans-serif;
  color: var(--text);
  position: fixed;
  inset-inline-end: 20px;
  inset-block-end: 20px;
  z-index: 2147483000;
}
@media (prefers-color-scheme: dark) {
  .root {
    --accent: #93b4ff;
    --on-accent: #0b1220;
    --ground: #111827;
    --text: #f3f4f6;
    --soft: #cbd5e1;
    --line: #475569;
    --theirs: #1f2937;
    --bad: #fca5a5;
  }
}
* { box-sizing: border-box; margin: 0; }
button, input, textarea { font: inherit; color: inherit; }
button { cursor: pointer; }
:focus-visible { outline: 3px solid var(--accent); outline-offset: 2px; }
.launcher {
  position: relative;
  width: 60px; height: 60px;
  border: 0; border-radius: 50%;
  background: var(--accent); color: var(--on-accent);
  box-shadow: 0 4px 14px rgb(0 0 0 / .3);
  display: grid; place-items: center;
}
.launcher svg { width: 28px; height: 28px; fill: currentColor; }
.badge {
  position: absolute; inset-block-start: -4px; inset-inline-end: -4px;
  min-width: 24px; height: 24px; padding: 0 6px;
  border-radius: 12px; background: #b91c1c; color: #ffffff;
  font-size: 14px; font-weight: 700; line-height: 24px; text-align: center;
}
.panel {
  width: 370px; height: min(560px, calc(100vh - 40px));
  display: flex; flex-direction: column;
  background: var(--ground); color: var(--text);
  border: 1px solid var(--line); border-radius: 14px; overflow: hidden;
  box-shadow: 0 12px 40px rgb(0 0 0 / .3);
}
.head { display: flex; align-items: center; gap: 12px; padding: 12px 12px 12px 16px; background: var(--accent); color: var(--on-accent); }
.head :focus-visible { outline-color: var(--on-accent); }
.head h2 { font-size: 17px; font-weight: 650; }
.head div { flex: 1; min-width: 0; }
.status { font-size: 14px; }
.close { width: 44px; height: 44px; border: 0; border-radius: 10px; background: transparent; display: grid; place-items: center; }
.close svg { width: 22px; height: 22px; stroke: currentColor; stroke-width: 2.2; fill: none; }
.lines { flex: 1; overflow-y: auto; padding: 16px; list-style: none; display: flex; flex-direction: column; gap: 10px; }
.lines li { max-width: 85%; align-self: flex-start; }
.lines li.own { align-self: flex-end; text-align: end; }
.who { font-size: 13px; color: var(--soft); }
.text {
  padding: 9px 13px; border-radius: 14px; border-end-start-radius: 4px;
  background: var(--theirs); white-space: pre-wrap; overflow-wrap: anywhere; text-align: start;
}
.own .text { background: var(--accent); color: var(--on-accent); border-radius: 14px; border-end-end-radius: 4px; }
.state { font-size: 13px; color: var(--soft); min-height: 1.2em; }
.state.bad, .note.bad { color: var(--bad); }
.note { padding: 4px 16px 12px; color: var(--soft); font-size: 15px; }
form { padding: 12px; border-top: 1px solid var(--line); display: flex; gap: 10px; align-items: flex-end; }
form.leave { flex-direction: column; align-items: stretch; overflow-y: auto; }
label { display: grid; gap: 4px; font-size: 14px; color: var(--soft); }
input, textarea {
  width: 100%; padding: 10px 12px; border: 1px solid var(--soft); border-radius: 10px;
  background: var(--ground); color: var(--text); resize: none;
}
textarea::placeholder { color: var(--soft); opacity: 1; }
.send { flex: none; white-space: nowrap; min-width: 44px; min-height: 46px; padding: 0 16px; border: 0; border-radius: 10px; background: var(--accent); color: var(--on-accent); font-weight: 600; }
.send:disabled { background: var(--theirs); color: var(--soft); cursor: default; }
[hidden] { display: none !important; }
@media (max-width: 520px) {
  .root.open { inset: 0; }
  .panel { width: 100vw; height: 100vh; height: 100dvh; border: 0; border-radius: 0; }
}
@media (prefers-reduced-motion: no-preference) { .panel { animation: up .16s ease-out; } }
@keyframes up { from { opacity: 0; transform: translateY(12px); } }
`;
