'use strict';

const fs = require('fs');
const http = require('http');
const os = require('os');
const path = require('path');
const readline = require('readline');
const {spawn} = require('child_process');
const {withDeadline} = require('./Devsim');

const START_DEADLINE_MS = 60000;
const STOP_DEADLINE_MS = 20000;

/** A running host on a free port. */
class Vmshost {
    /** @param config without "http" */
    static async start(binary, config) {
        const host = new Vmshost(binary, config);
        await withDeadline(host.ready(), START_DEADLINE_MS, 'start of the host');
        return host;
    }

    constructor(binary, config) {
        this.folder = fs.mkdtempSync(path.join(os.tmpdir(), 'vmshost-'));
        const file = path.join(this.folder, 'vmshost.json');
        fs.writeFileSync(file, JSON.stringify({http: {port: 0}, ...config}));
        this.process = spawn(binary, ['serve', '--config', file],
                             {stdio: ['ignore', 'pipe', 'inherit']});
        this.ended = new Promise(resolve => this.process.on('exit', resolve));
        this.process.on('error', () => {});
    }

    async ready() {
        for await (const line of readline.createInterface({input: this.process.stdout})) {
            if (line.startsWith('ready ')) {
                this.url = line.slice('ready '.length);
                return;
            }
        }
        throw new Error('the host ended before it was ready');
    }

    /** @returns {Promise<Object>} the JSON that is answered */
    get(target) {
        return new Promise((resolve, reject) => {
            http.get(this.url + target, answer => {
                let text = '';
                answer.on('data', piece => text += piece);
                answer.on('end', () => resolve(JSON.parse(text)));
            }).on('error', reject);
        });
    }

    /** Players by one way out, such as "whep". */
    async players(kind) {
        return (await this.get('/api/streams')).streams.filter(player => player.kind === kind);
    }

    /** Threads, descriptors, resident kB, and milliseconds of CPU that they have used so far. */
    figures() {
        const of = name => `/proc/${this.process.pid}/${name}`;
        let cpu = 0;
        for (const thread of fs.readdirSync(of('task'))) {
            try {
                cpu += Number(fs.readFileSync(of(`task/${thread}/schedstat`), 'utf8').split(' ')[0]);
            } catch { /* it has ended */ }
        }
        return {
            threads: fs.readdirSync(of('task')).length,
            descriptors: fs.readdirSync(of('fd')).length,
            residentKb: Number(fs.readFileSync(of('status'), 'utf8').match(/VmRSS:\s+(\d+)/)[1]),
            cpuMs: cpu / 1e6,
        };
    }

    async stop() {
        this.process.kill('SIGTERM');
        try {
            return await withDeadline(this.ended, STOP_DEADLINE_MS, 'end of the host');
        } finally {
            this.process.kill('SIGKILL');
            fs.rmSync(this.folder, {recursive: true});
        }
    }
}

module.exports = {Vmshost};
