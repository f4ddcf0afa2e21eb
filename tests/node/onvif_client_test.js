'use strict';

// Usage: node onvif_client_test.js PATH_TO_DEVSIM
// Drives the simulated cameras with the npm package "onvif": discovery on the loopback interface,
// login, profiles and stream addresses, one camera of each personality.

const assert = require('assert');
const {promisify} = require('util');
const {Cam, Discovery} = require('onvif');
const {Devsim, withDeadline} = require('./Devsim');

const PERSONALITIES = ['classic', 'lean', 'chunked', 'strict', 'bare'];
const CALL_DEADLINE_MS = 10000;

const call = (cam, method, ...args) =>
    withDeadline(promisify(cam[method]).apply(cam, args), CALL_DEADLINE_MS, method);

function connect(camera, password) {
    return withDeadline(new Promise((resolve, reject) => {
        const cam = new Cam({
            hostname: camera.address,
            port: camera.port,
            username: camera.user,
            password,
            timeout: CALL_DEADLINE_MS,
        }, error => error ? reject(error) : resolve(cam));
        cam.on('error', reject);
    }), CALL_DEADLINE_MS, 'connect');
}

async function statsOf(camera) {
    const answer = await fetch(`http://${camera.address}:${camera.port}/devsim/stats`);
    return answer.json();
}

/** @returns {Promise<Map<number, object>>} port -> the client's camera and the raw answer */
function discover() {
    const found = new Map();
    return new Promise((resolve, reject) => {
        Discovery.on('error', error => reject(new Error(String(error))));
        Discovery.on('device', (cam, from, xml) => found.set(Number(cam.port), {cam, xml}));
        Discovery.probe({device: 'lo', timeout: 1500}, errors =>
            errors ? reject(new Error(errors.join('; '))) : resolve(found));
    });
}

async function checkDiscovery(sim) {
    const found = await discover();
    for (const camera of sim.cameras) {
        const match = found.get(camera.port);
        assert.ok(match, `${camera.personality} was not found`);
        assert.strictEqual(match.cam.hostname, camera.address);
        assert.strictEqual(match.cam.path, '/onvif/device_service');
        assert.ok(match.xml.includes(`urn:uuid:${camera.uuid}`));
        assert.ok(match.xml.includes(`onvif://www.onvif.org/name/${encodeURI(camera.name)}`));
    }
}

async function checkCamera(camera) {
    const cam = await connect(camera, camera.password);
    assert.strictEqual(cam.profiles.length, camera.profiles);

    const date = await call(cam, 'getSystemDateAndTime');
    assert.ok(Math.abs(date.getTime() - Date.now()) < 5000, `clock says ${date}`);

    const information = await call(cam, 'getDeviceInformation');
    assert.match(information.serialNumber, /^SIM\d+$/);

    const capabilities = await call(cam, 'getCapabilities');
    assert.strictEqual(capabilities.media.XAddr,
                       `http://${camera.address}:${camera.port}/onvif/media_service`);
    await checkStreams(cam, camera);
}

async function checkStreams(cam, camera) {
    for (const [position, profile] of cam.profiles.entries()) {
        const answer = await call(cam, 'getStreamUri',
                                  {protocol: 'RTSP', profileToken: profile.$.token});
        // An element with a namespace declaration of its own reaches us as an object.
        assert.strictEqual(answer.uri._ || answer.uri, camera.streams[position]);
    }
    await assert.rejects(call(cam, 'getStreamUri',
                              {protocol: 'RTSP', profileToken: 'no such profile'}));
}

async function checkWrongPassword(camera) {
    const before = await statsOf(camera);
    await assert.rejects(connect(camera, camera.password + 'x'), /not authorized/);
    const after = await statsOf(camera);
    assert.ok(after.authFailures.wrongDigest > (before.authFailures.wrongDigest || 0));
    assert.strictEqual(after.requests.GetProfiles, before.requests.GetProfiles);
}

async function run(binary) {
    const sim = await Devsim.start(binary, [
        '--count', String(PERSONALITIES.length), '--no-rtsp', '--discovery-delay-ms', '50',
        '--discovery-interface', '127.0.0.1', '--password', 'p&ss <w0rd>',
    ]);
    try {
        assert.deepStrictEqual(sim.cameras.map(camera => camera.personality), PERSONALITIES);
        await checkDiscovery(sim);
        for (const camera of sim.cameras) {
            await checkCamera(camera);
            await checkWrongPassword(camera);
            console.log(`${camera.personality}: ok`);
        }
    } finally {
        assert.strictEqual(await sim.stop(), 0);
    }
}

run(process.argv[2]).then(() => process.exit(0), error => {
    console.error(error);
    process.exit(1);
});
