'use strict';

const {chromium} = require('playwright-core');

const ARGUMENTS = [
    '--no-sandbox', '--autoplay-policy=no-user-gesture-required',
    // The host is on this machine; elsewhere nothing of the kind is needed.
    '--allow-loopback-in-peer-connection',
];

/** What the page does; runs within the browser. A session is known by its number. */
function page() {
    window.sessions = [];

    window.join = async target => {
        const connection = new RTCPeerConnection({bundlePolicy: 'max-bundle'});
        const receivers = ['video', 'audio'].map(
            kind => connection.addTransceiver(kind, {direction: 'recvonly'}).receiver);
        await connection.setLocalDescription(await connection.createOffer());
        const begun = performance.now();
        const answer = await fetch(target, {
            method: 'POST',
            headers: {'Content-Type': 'application/sdp'},
            body: connection.localDescription.sdp,
        });
        const text = await answer.text();
        if (answer.status !== 201)
            return {status: answer.status, text};
        const answered = performance.now();
        const video = document.createElement('video');
        video.autoplay = true;
        const shown = new Promise(resolve => video.requestVideoFrameCallback(
            () => resolve(performance.now())));
        video.srcObject = new MediaStream(receivers.map(receiver => receiver.track));
        document.body.append(video);
        await connection.setRemoteDescription({type: 'answer', sdp: text});
        window.sessions.push({connection, video, location: answer.headers.get('Location')});
        return {
            status: answer.status,
            text,
            session: window.sessions.length - 1,
            answeredMs: answered - begun,
            shownMs: await shown - begun,
        };
    };

    window.figures = async session => {
        const {connection} = window.sessions[session];
        const figures = {};
        for (const report of (await connection.getStats()).values()) {
            if (report.type === 'inbound-rtp')
                figures[report.kind] = report;
        }
        return figures;
    };

    /** The picture's pixels, small: one that moves is never twice the same. */
    window.pixels = session => {
        const canvas = document.createElement('canvas');
        canvas.width = 64;
        canvas.height = 36;
        const context = canvas.getContext('2d');
        context.drawImage(window.sessions[session].video, 0, 0, canvas.width, canvas.height);
        return Array.from(context.getImageData(0, 0, canvas.width, canvas.height).data).join();
    };

    window.leave = async (session, saysSo) => {
        const {connection, video, location} = window.sessions[session];
        const status = saysSo ? (await fetch(location, {method: 'DELETE'})).status : 0;
        connection.close();
        video.remove();
        return status;
    };
}

/** A browser that watches over WebRTC, as a page of the host would. */
class WhepBrowser {
    /** @param executable path of a Chromium */
    static async start(executable, url) {
        const server = await chromium.launchServer({executablePath: executable, headless: true,
                                                    args: ARGUMENTS});
        const browser = await chromium.connect(server.wsEndpoint());
        const tab = await browser.newPage();
        await tab.goto(`${url}/healthz`);
        await tab.evaluate(page);
        return new WhepBrowser(server, tab);
    }

    constructor(server, tab) {
        this.server = server;
        this.tab = tab;
    }

    /** @returns status and text of the answer, and if it is 201 the session's number and what took
     *  how long, in ms from the request on */
    join(target) {
        return this.tab.evaluate(to => window.join(to), target);
    }

    /** What the browser counts: {video, audio}. */
    figures(session) {
        return this.tab.evaluate(of => window.figures(of), session);
    }

    pixels(session) {
        return this.tab.evaluate(of => window.pixels(of), session);
    }

    /** @returns the status that DELETE is answered with; 0 = it goes without a word */
    leave(session, saysSo = true) {
        return this.tab.evaluate(([of, how]) => window.leave(of, how), [session, saysSo]);
    }

    /** As a crash does. */
    kill() {
        return this.server.kill();
    }
}

module.exports = {WhepBrowser};
