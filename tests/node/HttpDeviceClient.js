'use strict';

// A client of the HTTP/JSON device family on Node's own crypto and the npm package "ws"; written
// from docs/device-protocol.md alone.

const crypto = require('crypto');
const http = require('http');
const https = require('https');
const WebSocket = require('ws');
const {withDeadline} = require('./Devsim');

const DEADLINE_MS = 10000;
const QUORIX_SALT = '3e9c07d2a41f58b6c0d9e2f7a3b81c45d6e9f0a2b3c4d5e6f708192a3b4c5d6e';

const sha = (...parts) => {
    const hash = crypto.createHash('sha256');
    parts.forEach(part => hash.update(part));
    return hash.digest();
};

function rehash(digest, param) {
    const rounds = param.enableIteration ? param.iterations : 0;
    for (let i = 0; i < rounds; ++i) digest = sha(digest);
    return digest;
}

function proofOf(device, data) {
    const secret = Buffer.from(device.password).toString('base64');
    const {challenge, salt} = data.param;
    if (data.encryptionType[0] === 'quorix')
        return sha(device.user, QUORIX_SALT, secret, challenge).toString('hex');
    return rehash(sha(sha(device.user, salt, secret, challenge), data.sessionID), data.param)
        .toString('hex');
}

function keyOf(device, family, param) {
    const secret = Buffer.from(device.password).toString('base64');
    const digest = family === 'quorix'
        ? sha(device.user, QUORIX_SALT, secret)
        : rehash(sha(sha(device.user, param.salt, secret), 'Cider!@%&$'), param);
    return digest.toString('hex').slice(22, 38);
}

function decrypt(key, check) {
    const cipher = crypto.createDecipheriv('aes-128-cbc', key, Buffer.from(check.iv, 'base64'));
    cipher.setAutoPadding(false);
    return cipher.update(check.data, 'base64', 'latin1') + cipher.final('latin1');
}

/** Reads the header of a media frame. */
function parseFrame(bytes) {
    return {
        length: bytes.readUInt32BE(0),
        video: bytes[4] === 1,
        serial: bytes.readUInt32LE(8),
        time: bytes.readUInt32LE(12) + bytes.readUInt32LE(32) * 2 ** 32,
        rate: bytes.readUInt32LE(16),
        width: bytes.readUInt32LE(20),
        height: bytes.readUInt32LE(24),
        codec: bytes[28],
        key: bytes[29] === 1,
        generation: bytes.readUInt16LE(30),
        payload: bytes.subarray(36),
    };
}

/** One WebSocket; every message is kept until somebody takes it. */
class Socket {
    constructor(url) {
        this.messages = [];
        this.waiting = null;
        this.socket = new WebSocket(url, 'websocket', {rejectUnauthorized: false});
        this.socket.on('message', (data, binary) =>
            this.push(binary ? {bytes: data} : {json: JSON.parse(data.toString())}));
        this.closed = new Promise(resolve => {
            this.socket.on('close', resolve);
            // A device that broke the protocol does not take part in closing either.
            this.socket.on('error', () => this.socket.terminate());
        });
        this.closed.then(() => this.push({closed: true}));
        this.opened = new Promise((resolve, reject) => {
            this.socket.on('open', resolve);
            this.socket.on('error', reject);
        });
        this.opened.catch(() => {});
    }

    push(message) {
        this.messages.push(message);
        if (this.waiting) this.waiting();
    }

    async next() {
        while (this.messages.length === 0)
            await withDeadline(new Promise(resolve => { this.waiting = resolve; }), DEADLINE_MS,
                               'next message');
        return this.messages.shift();
    }

    send(action, data) { this.socket.send(JSON.stringify({action, data})); }

    /** Sends and waits for the answer; frames that come first are dropped. */
    async ask(action, data) {
        this.send(action, data);
        for (;;) {
            const message = await this.next();
            if (message.closed) throw new Error(`closed instead of an answer to ${action}`);
            if (message.json && message.json.action === action) return message.json;
        }
    }

    /** Frames until `enough` says so of the list, the end message or the closing. */
    async frames(enough) {
        const list = [];
        list.end = null;
        for (;;) {
            const message = await this.next();
            if (message.closed) return list;
            if (message.json) {
                if (message.json.action !== 'end') continue;
                list.end = message.json;
                return list;
            }
            list.push(message.bytes);
            if (enough(list)) return list;
        }
    }

    async close() {
        this.socket.terminate();
        await this.closed;
    }
}

class HttpDeviceClient {
    constructor(device, secure = false) {
        this.device = device;
        this.secure = secure;
        this.port = secure ? device.httpsPort : device.port;
        this.token = '';
    }

    /** @returns {Promise<object>} the answer as JSON; rejects when there is none */
    post(path, body, headers = {}) {
        const {request} = this.secure ? https : http;
        const text = typeof body === 'string' ? body : JSON.stringify(body);
        const options = {
            host: this.device.address, port: this.port, path: `/api/${path}`, method: 'POST',
            rejectUnauthorized: false, agent: false,
            headers: {'Content-Type': 'application/json', 'Content-Length': Buffer.byteLength(text),
                      ...(this.token ? {'Api-Session': this.token} : {}), ...headers},
        };
        return withDeadline(new Promise((resolve, reject) => {
            const call = request(options, answer => {
                const parts = [];
                answer.on('data', part => parts.push(part));
                answer.on('error', reject);
                answer.on('end', () => {
                    try {
                        resolve(JSON.parse(Buffer.concat(parts).toString()));
                    } catch (error) {
                        reject(error);
                    }
                });
            });
            call.on('error', reject);
            call.end(text);
        }), DEADLINE_MS, path);
    }

    get(path, data) { return this.post(path, {action: 'get', ...(data ? {data} : {})}); }
    set(path, data) { return this.post(path, {action: 'set', data}); }

    challenge() {
        return this.get('session/login-capabilities', {username: this.device.user});
    }

    sendProof(sessionID, password) {
        return this.set('session/login', {username: this.device.user,
            loginEncryptionType: 'sha256-1', password, sessionID, datetime: '2026-01-01 00:00:00'});
    }

    async login() {
        const {data} = await this.challenge();
        const answer = await this.sendProof(data.sessionID, proofOf(this.device, data));
        if (answer.code === 0)
            this.token = answer.data['Api-Session'] || answer.data.cookie.split('=')[1];
        return answer;
    }

    async proveKey() {
        const {data} = await this.get('security/capability');
        const family = data.encryptionType[0];
        const key = keyOf(this.device, family, data.param[family]);
        return this.set('security/capability', {nonce: decrypt(key, data.keyCheck)});
    }

    async open(path = '/') {
        const scheme = this.secure ? 'wss' : 'ws';
        const socket = new Socket(`${scheme}://${this.device.address}:${this.port}${path}`);
        await withDeadline(socket.opened, DEADLINE_MS, 'upgrade');
        return socket;
    }
}

/** The simulator's own interface for tests. */
class Control {
    constructor(url) { this.url = url; }

    async state(device) { return (await fetch(`${this.url}/devices/${device}/state`)).json(); }

    async talk(device, channel) {
        const answer = await fetch(`${this.url}/devices/${device}/talk/${channel}`);
        return Buffer.from(await answer.arrayBuffer());
    }

    async post(device, what, body = {}) {
        const answer = await fetch(`${this.url}/devices/${device}/${what}`,
                                   {method: 'POST', body: JSON.stringify(body)});
        if (!answer.ok) throw new Error(await answer.text());
        return answer.json();
    }

    faults(device, set, clear = []) { return this.post(device, 'faults', {set, clear}); }
}

module.exports = {HttpDeviceClient, Control, proofOf, parseFrame};
