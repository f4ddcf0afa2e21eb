'use strict';

// Usage: node whep_browser_test.js VMSHOST FAMILY_LIBRARY DEVSIM CHROMIUM
// Watches simulated cameras in a real browser over WebRTC: the picture moves, sound is heard, what
// cannot be sent is refused, and a browser that leaves, in whatever way, leaves nothing behind.

const assert = require('assert');
const fs = require('fs');
const os = require('os');
const path = require('path');
const {Devsim, withDeadline} = require('./Devsim');
const {Vmshost} = require('./Vmshost');
const {WhepBrowser} = require('./WhepBrowser');

const [vmshost, family, devsim, chromium] = process.argv.slice(2);
const CAMERAS = {devices: [{kind: 'IPC', audio: 'alaw'}, {kind: 'IPC', codec: 'h265'}]};

async function until(condition, milliseconds, what) {
    const deadline = Date.now() + milliseconds;
    while (!await condition()) {
        assert.ok(Date.now() < deadline, `${what}: not within ${milliseconds} ms`);
        await new Promise(resolve => setTimeout(resolve, 20));
    }
}

async function testPictureAndSound(host, browser) {
    const {session, status, text} = await browser.join('/whep/cam0/0');
    assert.strictEqual(status, 201, text);
    const before = await browser.pixels(session);
    await until(async () => await browser.pixels(session) !== before, 10000, 'another picture');
    await until(async () => {
        const {video, audio} = await browser.figures(session);
        return video.framesDecoded > 25 && audio !== undefined && audio.totalAudioEnergy > 0;
    }, 10000, 'pictures and sound');
    const [player] = await host.players('whep');
    assert.strictEqual(player.device, 'cam0');
    assert.strictEqual(await browser.leave(session), 200);
    await until(async () => (await host.players('whep')).length === 0, 5000, 'the end');
}

async function testWhatCatchesUpIsNotLate(host, browser, sim) {
    const {session} = await browser.join('/whep/cam0/0');
    const decoded = async () => (await browser.figures(session)).video.framesDecoded;
    await until(async () => await decoded() > 10, 10000, 'pictures');
    sim.process.kill('SIGSTOP');
    // So long that its clock and ours part.
    await new Promise(resolve => setTimeout(resolve, 7000));
    sim.process.kill('SIGCONT');
    const before = await decoded();
    await until(async () => await decoded() > before + 80, 10000, 'what has been missing');
    const [{queuedBytes}] = await host.players('whep');
    assert.ok(queuedBytes < 20000, `${queuedBytes} bytes are held back`);
    await browser.leave(session);
}

async function testRefusals(host, browser) {
    const refused = await browser.join('/whep/cam1/0');
    assert.strictEqual(refused.status, 406);
    assert.match(refused.text, /h265/);
    assert.strictEqual((await browser.join('/whep/nobody/0')).status, 404);
    await until(async () => (await host.players('whep')).length === 0, 5000, 'the end');
}

async function testNothingIsLeftBehind(host, browser) {
    // Of the first sessions some threads stay for the next ones.
    const rounds = async count => {
        for (let i = 0; i < count; ++i)
            assert.strictEqual(await browser.leave((await browser.join('/whep/cam0/0')).session), 200);
        await until(async () => (await host.players('whep')).length === 0, 5000, 'the end');
    };
    await rounds(3);
    const before = host.figures();
    await rounds(8);
    await until(() => host.figures().threads <= before.threads + 3 &&
                      host.figures().descriptors <= before.descriptors + 3,
                10000, `threads and descriptors as before, ${JSON.stringify(before)}`);
}

async function testAKilledBrowserIsNoticed(host, browser) {
    const {session} = await browser.join('/whep/cam0/0');
    await until(async () => (await browser.figures(session)).video.framesDecoded > 10, 10000,
                'pictures');
    await browser.kill();
    await until(async () => (await host.players('whep')).length === 0, 10000, 'it is noticed');
}

async function main() {
    const folder = fs.mkdtempSync(path.join(os.tmpdir(), 'whep-'));
    const config = path.join(folder, 'devices.json');
    fs.writeFileSync(config, JSON.stringify(CAMERAS));
    const sim = await Devsim.start(devsim, ['--config', config], 'httpdevice');
    const devices = sim.cameras.map((camera, index) => ({
        id: `cam${index}`, ip: camera.address, port: camera.port, username: camera.user,
        password: camera.password,
    }));
    const host = await Vmshost.start(vmshost, {
        whep: {players: 3}, modules: [{name: 'cameras', library: family, devices}],
    });
    let browser = null;
    try {
        browser = await WhepBrowser.start(chromium, host.url);
        for (const test of [testPictureAndSound, testWhatCatchesUpIsNotLate, testRefusals, testNothingIsLeftBehind,
                            testAKilledBrowserIsNoticed]) {
            await withDeadline(test(host, browser, sim), 40000, test.name);
            console.log(`ok ${test.name}`);
        }
    } finally {
        if (browser !== null)
            await browser.kill();
        fs.rmSync(folder, {recursive: true});
        assert.strictEqual(await host.stop(), 0, 'exit code of the host');
        assert.strictEqual(await sim.stop(), 0, 'exit code of the simulator');
    }
}

main().then(() => process.exit(0), error => {
    console.error(error);
    process.exit(1);
});
