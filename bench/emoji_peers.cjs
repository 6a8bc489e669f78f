// Times the JavaScript peers on the same texts as bench_emoji and prints the
// comparison table. Called by bench/run_emoji.sh:
//   node emoji_peers.cjs WORK_DIR NODE_DIR
// WORK_DIR holds text.txt and escaped.txt (from bench_emoji --write-corpus),
// ours.json (Google Benchmark JSON) and first_use.txt (bench_emoji --first-use
// lines); NODE_DIR is where the peers are installed.
'use strict';
const fs = require('fs');
const path = require('path');
const { createRequire } = require('module');

const [workDir, nodeDir] = process.argv.slice(2);
const peerRequire = createRequire(path.join(path.resolve(nodeDir), 'package.json'));
const toolkit = peerRequire('emoji-toolkit');
const nodeEmoji = peerRequire('node-emoji');

const text = fs.readFileSync(path.join(workDir, 'text.txt'), 'utf8');
const escaped = fs.readFileSync(path.join(workDir, 'escaped.txt'), 'utf8');
const bytes = (s) => Buffer.byteLength(s, 'utf8');

// Best of a few runs after one warm-up, in MB of input per second of CPU
// time, as Google Benchmark counts ours: the machine may be busy.
function measure(fn, input) {
  const size = bytes(input);
  fn(input);
  let best = Infinity;
  for (let i = 0; i < 3; ++i) {
    const start = process.cpuUsage();
    fn(input);
    const used = process.cpuUsage(start);
    best = Math.min(best, (used.user + used.system) / 1e6);
  }
  return size / best / 1e6;
}

const ours = JSON.parse(fs.readFileSync(path.join(workDir, 'ours.json'), 'utf8'));
const oursMBs = (name) => {
  const runs = ours.benchmarks.filter((b) => b.name === name || b.run_name === name);
  return Math.max(...runs.map((b) => b.bytes_per_second)) / 1e6;
};
const firstUse = fs.readFileSync(path.join(workDir, 'first_use.txt'), 'utf8')
  .split('\n').filter((l) => l.startsWith('first_use_us'))
  .map((l) => l.split(/\s+/)).map((f) => ({ escape: Number(f[2]), unescape: Number(f[4]) }));
const median = (xs) => xs.slice().sort((a, b) => a - b)[Math.floor(xs.length / 2)];

const rows = [
  ['escape', 'tavrel emojiEscapedString', oursMBs('Escape')],
  ['escape', 'emoji-toolkit toShort', measure((s) => toolkit.toShort(s), text)],
  ['escape', 'node-emoji unemojify', measure((s) => nodeEmoji.unemojify(s), text)],
  ['unescape', 'tavrel emojiUnescapedString', oursMBs('Unescape')],
  ['unescape', 'emoji-toolkit shortnameToUnicode', measure((s) => toolkit.shortnameToUnicode(s), escaped)],
  ['unescape', 'node-emoji emojify', measure((s) => nodeEmoji.emojify(s), escaped)],
];

console.log(`texts: ${(bytes(text) / 1e6).toFixed(2)} MB chat text, ${(bytes(escaped) / 1e6).toFixed(2)} MB escaped`);
console.log('direction  implementation               MB/s (CPU time)   tavrel is');
for (const [direction, name, mbs] of rows) {
  const own = rows.find((r) => r[0] === direction)[2];
  const ratio = name.startsWith('tavrel') ? '' : `${(own / mbs).toFixed(1)}x faster`;
  console.log(`${direction.padEnd(10)} ${name.padEnd(33)} ${mbs.toFixed(1).padStart(8)}   ${ratio}`);
}
const escapeMed = median(firstUse.map((f) => f.escape));
const unescapeMed = median(firstUse.map((f) => f.unescape));
console.log(`first use in a fresh process (median of ${firstUse.length}): ` +
            `escape ${escapeMed.toFixed(1)} us, unescape ${unescapeMed.toFixed(1)} us`);

const fastestPeer = (direction) =>
  Math.max(...rows.filter((r) => r[0] === direction && !r[1].startsWith('tavrel')).map((r) => r[2]));
const goals = [
  ['escape >= 100x fastest peer', oursMBs('Escape') / fastestPeer('escape') >= 100],
  ['unescape >= 5x fastest peer', oursMBs('Unescape') / fastestPeer('unescape') >= 5],
  ['both >= 500 MB/s', Math.min(oursMBs('Escape'), oursMBs('Unescape')) >= 500],
  ['first use < 1 ms', escapeMed + unescapeMed < 1000],
];
console.log('goals: ' + goals.map(([g, ok]) => `${g}: ${ok ? 'met' : 'MISSED'}`).join('; '));
