#!/usr/bin/env node
'use strict';

// Browsers over WebRTC: from the request to the first picture, what a player costs the host, what
// rounds of coming and going leave behind, and when a browser that has gone is noticed.
//
//   bench/whep.js [--rounds 30] [--players 1,10] [--seconds 8] [--churn 50]
//
// One 720p25 stream of 2 Mbit/s with G.711, a key picture every 2 s, read from a file. The browser
// decodes on the same processors: with many players its pictures tell nothing, the host's CPU does.
// Needs a release build with tests, `ctest -R node_onvif_client_install` once, ffmpeg and Chromium.

const fs = require('fs');
const os = require('os');
const path = require('path');
const {execFileSync} = require('child_process');

const BUILD = path.join(__dirname, '..', 'build', 'release');
const {Vmshost} = require(path.join(BUILD, 'tests/node/Vmshost.js'));
const {WhepBrowser} = require(path.join(BUILD, 'tests/node/WhepBrowser.js'));

const CHROMIUM = '/usr/bin/chromium';
const TARGET = '/whep/cam/0';
const FRAMES_PER_SECOND = 25;

function argument(name, otherwise) {
    const at = process.argv.indexOf(`--${name}`);
    return at < 0 ? otherwise : process.argv[at + 1];
}

const pause = milliseconds => new Promise(resolve => setTimeout(resolve, milliseconds));

function median(numbers) {
    return [...numbers].sort((one, other) => one - other)[Math.floor(numbers.length / 2)];
}

function makeRecording(folder) {
    const channel = path.join(folder, 'cam', 'ch0');
    fs.mkdirSync(channel, {recursive: true});
    execFileSync('ffmpeg', [
        '-nostdin', '-v', 'error', '-f', 'lavfi', '-i', `testsrc2=size=1280x720:rate=${FRAMES_PER_SECOND}:duration=30`,
        '-f', 'lavfi', '-i', 'sine=frequency=440:sample_rate=8000:duration=30', '-vf', 'noise=alls=12:allf=t',
        '-c:v', 'libx264', '-preset', 'ultrafast', '-tune', 'zerolatency', '-pix_fmt', 'yuv420p', '-b:v', '2M',
        '-maxrate', '2M', '-bufsize', '500k', '-g', '50', '-keyint_min', '50', '-sc_threshold', '0',
        '-c:a', 'pcm_alaw', path.join(channel, '20260101T000000Z_schedule.mkv')]);
}

async function nobodyWatches(host) {
    while ((await host.players('whep')).length > 0)
        await pause(20);
}

async function firstPicture(host, browser, rounds) {
    const answered = [], shown = [];
    let lost = 0;
    const watcher = await browser.join(TARGET);  // keeps the stream, and its group
    await pause(3000);
    for (let i = 0; i < rounds; ++i) {
        await pause(100 + 130 * (i % 15));  // anywhere in the group
        const joined = await browser.join(TARGET);
        answered.push(joined.answeredMs);
        shown.push(joined.shownMs);
        await pause(500);
        lost += (await browser.figures(joined.session)).video.packetsLost;
        await browser.leave(joined.session);
    }
    await browser.leave(watcher.session);
    await nobodyWatches(host);
    console.log(`request to answer: median ${median(answered).toFixed(0)} ms; to first picture: ` +
                `median ${median(shown).toFixed(0)}, ${Math.min(...shown).toFixed(0)} to ` +
                `${Math.max(...shown).toFixed(0)} ms in ${rounds}; ${lost} packets lost`);
}

async function cost(host, browser, count, seconds) {
    const sessions = [];
    for (let i = 0; i < count; ++i)
        sessions.push((await browser.join(TARGET)).session);
    await pause(3000);
    const before = host.figures(), begun = Date.now();
    await pause(seconds * 1000);
    const after = host.figures(), lasted = (Date.now() - begun) / 1000;
    for (const session of sessions)
        await browser.leave(session);
    await nobodyWatches(host);
    return {cpu: (after.cpuMs - before.cpuMs) / lasted, ...after};
}

async function costs(host, browser, counts, seconds) {
    const idle = host.figures();
    let first = null;
    for (const count of counts) {
        const used = await cost(host, browser, count, seconds);
        first = first || {count, ...used};
        const more = count - first.count;
        const each = more > 0 ? (used.cpu - first.cpu) / more : NaN;
        console.log(`${count} players: ${used.cpu.toFixed(1)} ms/s, ${used.threads} threads (${idle.threads} idle), ` +
                    `${used.descriptors} descriptors, ${(used.residentKb / 1000).toFixed(0)} MB` +
                    (more > 0 ? `; each ${each.toFixed(1)} ms/s = ${(each / FRAMES_PER_SECOND * 1000).toFixed(0)} us ` +
                                'per frame' : ''));
    }
}

async function churn(host, browser, rounds) {
    for (let part = 0; part < 2; ++part) {
        for (let i = 0; i < rounds; ++i)
            await browser.leave((await browser.join(TARGET)).session);
        await nobodyWatches(host);
        await pause(2000);
        const left = host.figures();
        console.log(`after ${rounds * (part + 1)} rounds: ${left.threads} threads, ${left.descriptors} descriptors, ` +
                    `${(left.residentKb / 1000).toFixed(1)} MB`);
    }
}

async function departures(host) {
    for (const [how, leave] of [['killed', browser => browser.kill()],
                                ['closed without a word', browser => browser.leave(0, false)]]) {
        const browser = await WhepBrowser.start(CHROMIUM, host.url);
        await browser.join(TARGET);
        await pause(2000);
        await leave(browser);
        const begun = Date.now();
        await nobodyWatches(host);
        console.log(`${how}: noticed after ${((Date.now() - begun) / 1000).toFixed(1)} s`);
        await browser.kill().catch(() => {});
    }
}

async function main() {
    const folder = fs.mkdtempSync(path.join(os.tmpdir(), 'vms-whep-'));
    makeRecording(folder);
    const host = await Vmshost.start(path.join(BUILD, 'bin/vmshost'), {
        whep: {players: 100},
        modules: [{name: 'files', library: path.join(BUILD, 'lib/libfamily_mediafile.so'),
                   config: {streamserver: {content: folder}}, devices: [{id: 'cam'}]}],
    });
    try {
        const browser = await WhepBrowser.start(CHROMIUM, host.url);
        await firstPicture(host, browser, Number(argument('rounds', 30)));
        await costs(host, browser, argument('players', '1,10').split(',').map(Number),
                    Number(argument('seconds', 8)));
        await churn(host, browser, Number(argument('churn', 50)));
        await browser.kill();
        await departures(host);
    } finally {
        await host.stop();
        fs.rmSync(folder, {recursive: true});
    }
}

main().then(() => process.exit(0), error => {
    console.error(error);
    process.exit(1);
});
