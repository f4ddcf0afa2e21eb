'use strict';

// Usage: node httpdevice_client_test.js PATH_TO_DEVSIM [MEDIA_CACHE]
// Drives the simulated HTTP/JSON devices over real sockets with a client that shares nothing with
// them: login and key, recordings, movement, live video, playback, synchronous playback, talk,
// events and faults.

const assert = require('assert');
const {Devsim, withDeadline} = require('./Devsim');
const {Control, HttpDeviceClient, proofOf, parseFrame} = require('./HttpDeviceClient');

const UNTIL = 1700006400;  // 2023-11-15 00:00 UTC: the newest full day is the 14th
const DAY = 86400;
const CONFIG = {
    defaults: {recordedUntil: UNTIL, days: 6, faceIntervalMs: 50},
    devices: [
        {kind: 'IPC', platform: 'V1', https: true},
        {kind: 'NVR', channels: 3, pieceSeconds: 60, audio: 'aac', codec: 'h265'},
        {kind: 'IPC', login: 'quorix', password: 'pässwört', user: 'operator'},
        {kind: 'IPC', sessionSeconds: 1},
        {kind: 'IPC', faults: ['iterations']},
    ],
};

async function testLogin(sim) {
    const client = new HttpDeviceClient(sim.cameras[0]);
    assert.strictEqual((await client.get('system/device-info')).code, 1001);
    const {data} = await client.challenge();
    const proof = proofOf(client.device, data);
    assert.strictEqual((await client.sendProof(data.sessionID, proof.replace(/./, 'z'))).code, 1003);
    assert.strictEqual((await client.sendProof(data.sessionID, proof)).code, 1004, 'used up');
    assert.strictEqual((await client.login()).code, 0);
    assert.strictEqual((await client.proveKey()).code, 0);
    const cookie = {Cookie: `other=1; sid=${client.token}`, 'Api-Session': 'nonsense'};
    assert.strictEqual((await client.post('image/osd', '{"action":"get","data":null}', cookie)).code, 0);
    assert.strictEqual((await client.set('session/logout', {cookie: client.token})).code, 0);
    assert.strictEqual((await client.get('system/device-info')).code, 1001);
}

async function testQuorixOwesItsKey(sim) {
    const client = new HttpDeviceClient(sim.cameras[2]);
    await client.login();
    assert.strictEqual((await client.get('system/device-info')).code, 1006);
    assert.strictEqual((await client.set('security/capability', {nonce: 'x'})).code, 1005);
    assert.strictEqual((await client.proveKey()).code, 0);
    assert.strictEqual((await client.get('system/device-info')).code, 0);
}

async function testSessionExpires(sim) {
    const client = new HttpDeviceClient(sim.cameras[3]);
    await client.login();
    const socket = await client.open();
    assert.strictEqual((await socket.ask('play', {channel: 0, sessionID: client.token})).code, 0);
    const frames = await socket.frames(() => false);
    assert.strictEqual(frames.end.data.reason, 'session');
    assert.strictEqual((await client.get('system/device-info')).code, 1002);
}

async function testAnswers(sim) {
    const camera = new HttpDeviceClient(sim.cameras[0], true);
    const recorder = new HttpDeviceClient(sim.cameras[1]);
    await camera.login();
    await recorder.login();
    assert.strictEqual((await camera.get('system/capability')).code, 2004);
    assert.strictEqual((await camera.get('system/capabilities')).data.supportThirdStream, 0);
    assert.strictEqual((await recorder.get('system/capability')).data.video.streams, 3);
    await camera.post('system/device-info', '["set",{"devName":"Gate \\u00fc"}]');
    assert.strictEqual((await camera.get('image/osd')).data.text, 'Gate ü');
    await recorder.post('system/device-info?channel=2', ['set', {devName: 'Yard'}]);
    assert.strictEqual((await recorder.get('image/osd?channel=2')).data.text, 'Yard');
    assert.strictEqual((await recorder.get('image/osd?channel=3')).code, 2003);
    assert.strictEqual((await camera.set('system/system-time', {utcTime: 1000000000})).code, 0);
    assert.ok((await camera.get('system/system-time')).data.utcTime - 1000000000 < 60);
    for (const bad of ['', '{', '[]', '7', '{"action":"get"} x', '['.repeat(5000)])
        assert.strictEqual((await camera.post('system/device-info', bad)).code, 2001, bad);
    const rights = (await recorder.get('system/user-manager')).data;
    assert.strictEqual(rights.channelPermission[2].permission, '983040');
}

async function testRecordings(sim) {
    const camera = new HttpDeviceClient(sim.cameras[0]);
    const recorder = new HttpDeviceClient(sim.cameras[1]);
    await camera.login();
    await recorder.login();
    const window = {startTime: `${UNTIL - DAY}`, endTime: `${UNTIL}`, fileType: 0};
    const hours = (await camera.get('record/record-list', window)).data;
    assert.strictEqual(hours.length, 22, 'a day without the two quiet hours');
    assert.strictEqual(typeof hours[0].fileSize, 'string');

    const all = {...window, startTime: '0', channel: 1, streamNo: 0, pageIndex: 0, pageItems: 4000};
    const starts = [];
    for (let total = 4000; total === 4000;) {
        const {itemList} = (await recorder.get('record/record-list', all)).data;
        total = itemList.length;
        starts.push(...itemList.map(item => Number(item.startTime)));
        all.startTime = itemList[total - 1].endTime;
    }
    assert.ok(starts.length > 4000);
    assert.ok(starts.every((start, i) => i === 0 || start > starts[i - 1]), 'rising, none twice');
}

async function testMovement(sim, control) {
    const client = new HttpDeviceClient(sim.cameras[0]);
    await client.login();
    const move = data => client.set('image/ptz-ctrl', {channel: 0, ...data});
    assert.strictEqual((await move({operation: 'start', direction: 'sideways'})).code, 2003);
    await move({operation: 'start', direction: 'rightUp', speed: 100});
    await move({operation: 'stop'});
    const {position} = (await control.state(0)).channels[0];
    assert.ok(position.pan > 0 && position.pan === position.tilt, JSON.stringify(position));
    await move({operation: 'presetAdd', preset: {presetIdx: 7, presetName: 'Door'}});
    await client.set('image/zoom-focus', {lens: 'init', operation: 'start'});
    await move({operation: 'start', direction: 'left', speed: 100});
    await move({operation: 'presetCall', preset: {presetIdx: 7}});
    assert.deepStrictEqual((await control.state(0)).channels[0].position, position);
    const tour = (operation, more) => client.set('image/ptz-cruise', {operation, ...more});
    await tour('add', {cruise: {cruiseIdx: 1, cruisePresetList: [{presetIdx: 8}]}});
    assert.strictEqual((await tour('start', {cruiseIdx: 1})).code, 2003, 'a stop that is no preset');
    await tour('add', {cruise: {cruiseIdx: 1, cruisePresetList: [{presetIdx: 7}]}});
    assert.strictEqual((await tour('start', {cruiseIdx: 1})).code, 0);
    assert.strictEqual((await client.get('image/ptz-cruise', {cruiseIdx: -1})).data.running, 1);
}

function checkOrder(frames) {
    frames.forEach((frame, i) => {
        assert.strictEqual(frame.length, frame.payload.length);
        assert.strictEqual(frame.serial, i + frames[0].serial);
        assert.ok(i === 0 || frame.time >= frames[i - 1].time, 'time goes on');
    });
}

async function testLive(sim) {
    for (const secure of [false, true]) {
        const client = new HttpDeviceClient(sim.cameras[0], secure);
        await client.login();
        const socket = await client.open();
        assert.strictEqual(socket.socket.protocol, 'websocket');
        const data = {channel: 0, stream: 1, sessionID: `sid=${client.token}`};
        assert.strictEqual((await socket.ask('play', {...data, channel: 1})).code, 2003);
        assert.strictEqual((await socket.ask('play', data)).code, 0);
        const frames = (await socket.frames(list => list.length === 80)).map(parseFrame);
        checkOrder(frames);
        const video = frames.filter(frame => frame.video);
        const audio = frames.filter(frame => !frame.video);
        assert.ok(video[0].key && video[0].width === 640 && video[0].codec === 0);
        assert.strictEqual(video[0].payload.readUInt32BE(0), 1, 'Annex B');
        assert.ok(audio.length > 20 && audio.every(
            frame => frame.codec === 0x10 && frame.payload.length === 320));
        await socket.close();
    }
}

async function testPlayback(sim) {
    const client = new HttpDeviceClient(sim.cameras[1]);
    await client.login();
    const day = UNTIL - DAY;
    const window = {channel: 1, stream: 0, sessionID: client.token, startTime: day + 3600,
                    endTime: day + 5 * 3600};
    const socket = await client.open();
    assert.strictEqual((await socket.ask('playback', {...window, startTime: day + 2 * 3600,
                                                      endTime: day + 4 * 3600})).code, 2003);
    const quiet = day + 2 * 3600;
    await socket.ask('playback', {...window, seekTime: quiet - 1});
    let frames = (await socket.frames(list => parseFrame(list[list.length - 1]).time
                                              >= (quiet + 2 * 3600) * 1000)).map(parseFrame);
    assert.ok(frames[0].key && frames[0].time === (quiet - 1) * 1000 && frames[0].codec === 1);
    assert.ok(frames.every(f => f.time < quiet * 1000 || f.time >= (quiet + 7200) * 1000), 'gap');
    assert.ok(frames.some(f => !f.video && f.codec === 0x15 && f.payload.readUInt16BE(0) === 0xfff1));

    await socket.ask('seek', {time: day + 3700, sessionID: client.token});
    const after = await socket.frames(list => parseFrame(list[list.length - 1]).generation === 1);
    const first = parseFrame(after[after.length - 1]);
    assert.ok(first.key && first.time === (day + 3700) * 1000);
    await socket.ask('speed', {speed: 8, sessionID: client.token});
    frames = (await socket.frames(list => list.length === 30)).map(parseFrame).slice(5);
    assert.ok(frames.every(frame => frame.video && frame.key), 'key frames alone at speed 8');

    await socket.ask('playback', {...window, seekTime: day + 5 * 3600 - 1});
    const last = await socket.frames(() => false);
    assert.strictEqual(last.end.data.reason, 'finished');
    await socket.ask('download', {...window, startTime: day + 3600, endTime: day + 3600 + 60});
    const minute = await socket.frames(() => false);
    assert.strictEqual(minute.map(parseFrame).filter(frame => frame.video).length, 60 * 25);
    assert.strictEqual(minute.end.code, 0);
    await socket.close();
}

async function testSynchronousPlayback(sim) {
    const client = new HttpDeviceClient(sim.cameras[1]);
    await client.login();
    const sessionID = client.token;
    const control = await client.open();
    const day = UNTIL - DAY;
    const {data} = await control.ask('syncCreate',
        {sessionID, startTime: day + 3600, endTime: day + 7200, channels: [0, 1]});
    const both = [await client.open(), await client.open()];
    const at = {sessionID, token: data.token};
    for (const [channel, socket] of both.entries())
        assert.strictEqual((await socket.ask('syncPlay', {...at, channel})).code, 0);
    assert.strictEqual((await (await client.open()).ask('syncPlay', {...at, channel: 2})).code, 2003);
    await control.ask('syncStart', at);
    await control.ask('syncSeek', {...at, time: day + 5000});
    for (const socket of both) {
        const frames = await socket.frames(list => parseFrame(list[list.length - 1]).generation === 1);
        const first = parseFrame(frames[frames.length - 1]);
        assert.ok(first.key && first.time === (day + 5000) * 1000);
    }
    await control.ask('syncDel', {...at, channels: [0]});
    assert.strictEqual((await both[0].frames(() => false)).end.data.reason, 'sync');
    await control.ask('syncStop', at);
    assert.strictEqual((await both[1].frames(() => false)).end.data.reason, 'sync');
    await control.close();
}

function talkFrame(payload, codec) {
    const header = Buffer.alloc(36);
    header.writeUInt32BE(payload.length, 0);
    header[28] = codec;
    return Buffer.concat([header, payload]);
}

async function testTalk(sim, control) {
    const client = new HttpDeviceClient(sim.cameras[0]);
    await client.login();
    const socket = await client.open();
    const talk = {channel: 0, sessionID: client.token};
    assert.strictEqual((await socket.ask('talk', {...talk, encode: 2})).code, 2003);
    assert.deepStrictEqual((await socket.ask('talk', talk)).data, {encode: 1, sampleRate: 8000});
    const said = Buffer.from(Array.from({length: 960}, (_, i) => i * 7 & 0xff));
    for (let i = 0; i < 3; ++i)
        socket.socket.send(talkFrame(said.subarray(i * 320, i * 320 + 320), 0x10));
    socket.socket.send(talkFrame(said, 0x11));
    socket.socket.send(Buffer.alloc(35));
    await socket.ask('stop', {});
    assert.deepStrictEqual(await control.talk(0, 0), said);
    assert.strictEqual((await control.state(0)).talk['0'].refused, 2);
    await socket.close();
}

async function testEvents(sim, control) {
    const client = new HttpDeviceClient(sim.cameras[1]);
    await client.login();
    await control.faults(1, ['eventsDrop=1']);
    const start = {sessionID: client.token, subscription: {packet_types: [4, 5]}};
    const dropped = await client.open('/events');
    await dropped.ask('start', start);
    assert.ok((await dropped.frames(() => false)).length <= 2, 'the first channel drops');
    const socket = await client.open('/events');
    await socket.ask('start', start);
    const packets = await socket.frames(list => list.length === 6);
    packets.forEach((packet, i) => {
        assert.strictEqual(packet.readUInt16LE(0), 0xA5A5);
        assert.strictEqual(packet.readUInt16LE(2), 4 + i % 2);
        assert.strictEqual(packet.readUInt32LE(4), packet.length - 32);
        const face = JSON.parse(packet.subarray(32).toString());
        assert.strictEqual(face.channel, packet.readUInt32LE(20));
        assert.strictEqual('similarity' in face, i % 2 === 1);
    });
    await socket.close();
}

async function testFaultsComeAndGo(sim, control) {
    const client = new HttpDeviceClient(sim.cameras[0]);
    await client.login();
    const info = () => client.get('system/device-info');
    const failing = ['refused', 'dropBefore', 'dropInside', 'garbage', 'truncatedJson', 'http500'];
    for (const fault of failing) {
        await control.faults(0, [fault], '*');
        await assert.rejects(info(), fault);
    }
    await control.faults(0, ['wrongTypes@device-info'], '*');
    assert.strictEqual(typeof (await info()).data.devName, 'number');
    assert.strictEqual(typeof (await client.get('image/osd')).data.text, 'string');
    await control.faults(0, ['sessionExpired'], '*');
    assert.strictEqual((await info()).code, 1002);
    await control.faults(0, [], '*');
    assert.strictEqual((await info()).code, 0);
    await assert.rejects(control.faults(0, ['nonsense']), /unknown fault/);

    const asked = new HttpDeviceClient(sim.cameras[4]);
    assert.strictEqual((await asked.challenge()).data.param.iterations, 50000000);
}

async function testStreamFaults(sim, control) {
    const client = new HttpDeviceClient(sim.cameras[0]);
    await client.login();
    const play = async (fault, enough) => {
        await control.faults(0, [fault], '*');
        const socket = await client.open();
        await socket.ask('play', {channel: 0, stream: 1, sessionID: client.token});
        const frames = await socket.frames(enough);
        await socket.close();
        return frames;
    };
    assert.strictEqual((await play('wsDrop=7', () => false)).length, 7);
    assert.strictEqual((await play('malformed=3', () => false)).length, 3);
    assert.strictEqual((await play('frame36', list => list.length === 2))[0].length, 36);
    assert.strictEqual((await play('frame37', list => list.length === 2))[0].length, 37);
    assert.strictEqual((await play('hugeMessage=1', list => list.length === 1))[0].length,
                       36 + 1024 * 1024);
    await control.faults(0, ['wsRefused'], '*');
    await assert.rejects(client.open(), /403/);

    await control.faults(0, ['wsStall=5'], '*');
    const socket = await client.open();
    await socket.ask('play', {channel: 0, stream: 1, sessionID: client.token});
    await socket.frames(list => list.length === 5);
    await control.faults(0, [], '*');
    await control.post(0, 'drop');
    assert.strictEqual((await socket.frames(() => false)).length, 0, 'silent until it is dropped');

    await control.faults(0, ['halfOpen'], '*');
    const accepted = async () => (await control.state(0)).stats.accepted;
    const before = await accepted();
    const pending = client.get('image/osd');
    pending.catch(() => {});
    await withDeadline((async () => { while (await accepted() === before); })(), 10000, 'accept');
    await control.faults(0, [], '*');
    await assert.rejects(pending);
}

async function main() {
    const fs = require('fs');
    const path = require('path');
    const os = require('os');
    const folder = fs.mkdtempSync(path.join(os.tmpdir(), 'httpdevice-'));
    const config = path.join(folder, 'devices.json');
    fs.writeFileSync(config, JSON.stringify(CONFIG));
    const cache = process.argv[3] ? ['--media-cache', process.argv[3]] : [];
    const sim = await Devsim.start(process.argv[2], ['--config', config, ...cache], 'httpdevice');
    try {
        const control = new Control(sim.announcement.control);
        const tests = [testLogin, testQuorixOwesItsKey, testSessionExpires, testAnswers,
                       testRecordings, testMovement, testLive, testPlayback,
                       testSynchronousPlayback, testTalk, testEvents, testFaultsComeAndGo,
                       testStreamFaults];
        for (const test of tests) {
            await withDeadline(test(sim, control), 60000, test.name);
            console.log(`ok ${test.name}`);
        }
    } finally {
        fs.rmSync(folder, {recursive: true});
        assert.strictEqual(await sim.stop(), 0, 'exit code of the simulator');
    }
}

main().then(() => process.exit(0), error => {
    console.error(error);
    process.exit(1);
});
